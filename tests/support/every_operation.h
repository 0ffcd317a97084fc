// Asks the event record accessor everything about records whose bytes may be anything.
#ifndef TROX_TEST_EVERY_OPERATION_H
#define TROX_TEST_EVERY_OPERATION_H

#include "access_types.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace trox_test
{

/// Calls every operation of an accessor on records of the generation of `T`, and reads whatever is handed out. What
/// it prints is dropped by the caller.
template <class T> class every_operation
{
public:
    /// What is wrong, or nothing: a record that is taken for one of another generation, or something handed out that
    /// does not lie in the record's own block.
    static std::string ask(std::vector<typename T::record*> records)
    {
        every_operation asked;
        if (set_records<T>(asked.event_, &records) < 1) {
            return "the records are refused";
        }
        for (int i = 0; i < asked.event_.GetNchan() && asked.wrong_.empty(); ++i) {
            asked.ask_record(*records[static_cast<std::size_t>(i)], i);
        }
        return asked.wrong_;
    }

private:
    void ask_record(const typename T::record& record, int index)
    {
        event_.SetChan(index);
        const auto* head = reinterpret_cast<const typename T::subhead*>(record.sbchdata[0].chhd);
        if (head_of<T>(event_) != head || event_.GetChanNumb() != index) {
            wrong_ = "record " + std::to_string(index) + " is taken for one of another generation";
            return;
        }
        begin_ = reinterpret_cast<const unsigned char*>(head);
        size_ = sizeof *head;
        if (head->ldata > 0 && static_cast<std::size_t>(head->ldata) > size_) {
            size_ = static_cast<std::size_t>(head->ldata);
        }
        ask_heads();
        ask_values();
        ask_spectra();
        ask_image();
        ask_property();
        event_.PrintEvent();
        event_.PrintProp(index);
        ask_selections(index);
    }

    /// Reads bytes that were handed out.
    void look(const char* what, const void* bytes, std::size_t size)
    {
        const auto* at = static_cast<const unsigned char*>(bytes);
        if (at == nullptr) {
            return;
        }
        const bool is_inside = at >= begin_ && static_cast<std::size_t>(at - begin_) <= size_ &&
                               size <= size_ - static_cast<std::size_t>(at - begin_);
        if (!is_inside) {
            wrong_ = std::string(what) + " is not in the block";
            return;
        }
        read(at, size);
    }
    /// Reads a text that ends at its NUL or with its field.
    void look_at_name(const char* what, const char* name, std::size_t field)
    {
        if (name != nullptr) {
            look(what, name, strnlen(name, field));
        }
    }
    void read(const unsigned char* at, std::size_t size)
    {
        unsigned sum = 0;
        for (std::size_t i = 0; i < size; ++i) {
            sum += at[i];
        }
        sum_ = sum;
    }

    void ask_heads()
    {
        unsigned seconds = 0;
        unsigned long wide = 0;
        unsigned number = 0;
        int word = 0;
        if constexpr (T::is_2024) {
            event_.GetEventInfo_2024(&wide, &word, &number, &seconds, &seconds, &word, &word);
            event_.GetServBlockInfo_2024(&seconds, &seconds, &word, &wide, &word, &word, &word);
        } else {
            event_.GetEventInfo(&number, &word, &number, &seconds, &seconds, &word, &word);
            event_.GetServBlockInfo(&seconds, &seconds, &word, &word, &word, &word, &word);
        }
        char* name = nullptr;
        event_.GetChanInfo(&name, &word, &word, &word);
        look_at_name("a channel's name", name, sizeof(T::subhead::chname));
        const std::size_t field =
            event_.GetPropName() == name ? sizeof(T::subhead::chname) : sizeof(T::update::upd_prop);
        look_at_name("a property's name", event_.GetPropName(), field);
        look("the data", event_.GetData(), 0);
    }

    void ask_values()
    {
        float value = 0;
        int word = 0;
        long seconds = 0;
        event_.GetSlowPrm(&value, &word, &seconds);
        if (const char* text = event_.GetString(0, &word)) {
            look("text", text, static_cast<std::size_t>(word) + 1);
        }
        trox_name_value_block* block = nullptr;
        char* comment = nullptr;
        int count = 0;
        trox_name_value_channel* entries = nullptr;
        if (event_.GetValNamPrm(&block, &word, &comment, &count, &entries) == 0) {
            look("a list", block, 88);
            look_at_name("a comment", comment, 80);
            look("entries", entries, static_cast<std::size_t>(count) * sizeof *entries);
        }
        for (const int i : {-1000000, -3, -2, -1, 0, 1, 2, 3, 1000000, INT32_MAX, INT32_MIN}) {
            char* name = nullptr;
            if (event_.GetValNamChan(&name, &value, i) == 0) {
                look_at_name("an entry's name", name, sizeof entries->name);
            }
            event_.GetSingle(i);
        }
    }

    void ask_spectra()
    {
        const int members = std::min(event_.GetNmemb(), 8);
        for (int member = -1; member <= members; ++member) {
            float start = 0;
            void* extra = nullptr;
            int length = 0;
            int groups = 1;
            trox_spect_statistics_2010* statistics = nullptr;
            if (event_.GetSpectPar(&start, &start, &extra, &length, member, &groups, &start, &statistics) == 0) {
                look("a spectrum's head", extra, sizeof(typename T::spectrum_head));
                look("statistics", statistics, sizeof *statistics);
                look("samples", event_.GetSpect(member),
                     sizeof(float) * static_cast<std::size_t>(length) * static_cast<std::size_t>(groups));
            }
            void* roi = nullptr;
            event_.GetRoiPar(&roi, &start, &start, &extra, &length, member);
            look("a region", roi, sizeof(trox_roi_head));
            for (const int i : {-1, 0, length - 1, length, INT32_MAX}) {
                event_.GetSpectVal(member, i);
            }
        }
        event_.GetDescr();
        event_.GetMembNumb("CH1");
        event_.GetMembName(members);
    }

    void ask_image()
    {
        int word = 0;
        event_.GetImagePar(&word, &word, &word, &word);
        const int length = event_.GetImageSize(&word, &word, &word, &word, &word, &word);
        look("pixels", event_.GetImage(), static_cast<std::size_t>(std::max(length, 0)));
        const std::size_t head = event_.GetDataType() == TROX_BLOCK_IMAGE_EXT ? sizeof(trox_image_ext_frame_head)
                                                                              : sizeof(trox_image_frame_head);
        look("an image's head", event_.GetImageHeader(), head);
        if (const float* pixels = event_.ConvertImage()) {
            read(reinterpret_cast<const unsigned char*>(pixels), sizeof *pixels *
                                                                     static_cast<std::size_t>(event_.GetImageNx()) *
                                                                     static_cast<std::size_t>(event_.GetImageNy()));
        }
        event_.GetImageVal(event_.GetImageNx() - 1, event_.GetImageNy() - 1);
    }

    void ask_property()
    {
        for (const int i : {-1000000, -3, -2, -1, 0, 1, 2, 3, 1000000, INT32_MAX, INT32_MIN}) {
            float value = 0;
            float* data = nullptr;
            event_.GetDataPtrs(nullptr, &value, &data, i);
            look("a property's samples", data, 0);
        }
    }

    void ask_selections(int index)
    {
        event_.SetFastNext();
        event_.SetImageNext();
        event_.SetSlowNext();
        event_.SetFast(index);
        event_.SetImage(index);
        event_.SetSlow(index);
        event_.SetProp("no such name");
        event_.SetNextChan();
    }

    trox_daq_getdata event_{T::is_2024};
    const unsigned char* begin_ = nullptr; // of the record's block
    std::size_t size_ = 0;
    std::string wrong_;
    volatile unsigned sum_ = 0;
};

} // namespace trox_test

#endif
