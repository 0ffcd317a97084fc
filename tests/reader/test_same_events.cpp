// The same logical events, written in each generation, are what its reader reads.
#include "discovery_fixture.h"

#include "detail/big_endian.h"
#include "event_util.h"

#include <sstream>

namespace
{

using trox_test::channel_list;
using trox_test::run_second;
namespace tw = trox::writer;

constexpr const char* trace = "LINAC.RF/ADC/M1/TRACE";
constexpr const char* packed = "LINAC.DIAG/TOROID/3/CHARGE";
constexpr const char* position = "LINAC.DIAG/BPM/12/XY";
constexpr const char* camera = "LINAC.DIAG/CAM/4/IMG";
constexpr const char* settings = "LINAC.CTRL/FB/ORBIT/SET";
constexpr const char* current = "LINAC.MAG/QUAD/Q5/I.RBV";

constexpr std::uint32_t first_event = 5000;
constexpr std::uint32_t events_in_file = 12;
constexpr int files_in_run = 3;
constexpr std::uint32_t last_event = first_event + files_in_run * events_in_file - 1;

// --- the events -----------------------------------------------------------------------------------------

time_stamp time_of(std::uint32_t number)
{
    const std::uint32_t step = number - first_event;
    return {run_second + step / 10, 100000 * (step % 10)};
}
/// When the slow value of an event comes.
time_stamp late_time_of(std::uint32_t number)
{
    return time_of(number) + time_stamp{0, 20000};
}
std::vector<float> samples(std::uint32_t number, std::size_t count)
{
    std::vector<float> values(count);
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = static_cast<float>(number % 100) - static_cast<float>(i) / 4.0F;
    }
    return values;
}
bool has_position(std::uint32_t number)
{
    return number % 2 == 0;
}
bool has_image(std::uint32_t number)
{
    return number % 4 == 0;
}
bool has_settings(std::uint32_t number)
{
    return number % 3 == 0;
}
bool has_update(std::uint32_t number)
{
    return number % 5 == 2;
}
float slow_value(std::uint32_t number)
{
    return static_cast<float>(number) / 8.0F;
}

std::string line(std::uint64_t number, time_stamp time, const std::string& channel, const std::string& value)
{
    std::ostringstream out;
    out << number << ' ' << time.timeup << '.' << time.timelow << ' ' << channel << ' ' << value;
    return out.str();
}
std::string text_of(const std::vector<float>& values)
{
    std::ostringstream out;
    for (const float value : values) {
        out << value << ' ';
    }
    return out.str();
}

/// One line per delivered record, as arithmetic tells them.
std::vector<std::string> expected_lines()
{
    std::vector<std::string> lines;
    std::uint32_t slow = 0;
    for (std::uint32_t number = first_event; number <= last_event; ++number) {
        const time_stamp time = time_of(number);
        lines.push_back(line(number, time, trace, text_of(samples(number, 20))));
        lines.push_back(line(number, time, packed, text_of(samples(number, 64))));
        if (has_position(number)) {
            lines.push_back(line(number, time, std::string(position) + ":2", text_of({samples(number, 4)[2]})));
        }
        if (has_image(number)) {
            lines.push_back(line(number, time, camera, "3x2 frame " + std::to_string(number % 7) + " pixels abcdef"));
        }
        if (has_settings(number)) {
            lines.push_back(line(number, time, settings, "4 x comment GAIN " + text_of({slow_value(number)})));
        }
        slow = has_update(number) ? number : slow;
        if (slow != 0) {
            lines.push_back(line(slow, late_time_of(slow), current,
                                 "status 3 at " + std::to_string(late_time_of(slow).timelow) + " " +
                                     text_of({slow_value(slow)}) + (slow == number ? "new" : "kept")));
        }
    }
    return lines;
}

// --- writing --------------------------------------------------------------------------------------------

template <class T> void write_event(tw::file_writer& file, std::uint32_t number)
{
    file.begin_event({number, time_of(number)});
    file.begin_server_block({"SVR1"});
    file.add_record(trace, tw::spectrum_payload(T::format, T::one_channel, samples(number, 20)));
    file.add_record(packed, tw::spectrum_payload(T::format, T::one_channel, samples(number, 64)));
    if (has_position(number)) {
        tw::spectrum_head head;
        head.members = 4;
        file.add_record(position, tw::spectrum_payload(T::format, T::four_members, samples(number, 4), head));
    }
    if (has_image(number)) {
        trox_image_frame_head head{};
        head.w = 3;
        head.h = 2;
        head.bpp = 1;
        head.frame = static_cast<std::int32_t>(number % 7);
        file.add_record(camera, tw::image_payload(head, tw::bytes_view("abcdef", 6)));
    }
    if (has_settings(number)) {
        file.add_record(settings, tw::name_value_payload(4, "x comment", {{"GAIN", slow_value(number)}}));
    }
    file.end_event();
    if (has_update(number)) {
        file.begin_event({number, late_time_of(number), TROX_EV_UPD});
        file.begin_server_block({"SVR2"});
        file.add_record(current, tw::update_payload(T::format, current, slow_value(number), late_time_of(number), 3));
        file.end_event();
    }
}

tw::file_options options_of(int n)
{
    tw::file_options options;
    options.layout.seed = static_cast<std::uint64_t>(n);
    if (n > 1) {
        options.layout.baskets = tw::arrangement::shuffled;
        options.layout.records = tw::arrangement::shuffled;
        options.layout.max_gap = 50;
        options.layout.updates = n == 2 ? tw::update_layout::shared : tw::update_layout::away;
        options.layout.odd_positions = n == 3;
    }
    return options;
}

template <class T> void write_run_of_all_kinds(const trox_test::scratch_directory& dir, const std::string& catalogue)
{
    const tw::run_identity run{"linac", "main", 7};
    tw::catalogue_run entry{run, run_second, run_second + 5, {}};
    for (int n = 1; n <= files_in_run; ++n) {
        const std::uint32_t first = first_event + static_cast<std::uint32_t>(n - 1) * events_in_file;
        const std::string name = tw::data_file_name(run, n, {time_of(first).timeup, 0});
        tw::file_writer file(dir / name, T::format, options_of(n));
        for (const char* channel : {trace, settings, current}) {
            file.add_channel(channel);
        }
        file.add_channel(packed, tw::storage::zlib);
        file.add_channel(position, tw::storage::zlib);
        file.add_channel(camera, tw::has_lzo() ? tw::storage::lzo : tw::storage::zlib);
        for (std::uint32_t number = first; number < first + events_in_file; ++number) {
            write_event<T>(file, number);
        }
        file.finish();
        entry.files.push_back(
            {name, tw::catalogue_format(T::format), time_of(first).timeup, time_of(first + events_in_file).timeup + 1});
    }
    tw::write_catalogue(catalogue, entry);
}

// --- reading --------------------------------------------------------------------------------------------

float* data_of(const trox_serv_block_subhead& head, int* samples)
{
    float start = 0;
    float inc = 0;
    return get_spect_params_for_data_type_2009(&head, &start, &inc, nullptr, samples, 0) != 0
               ? nullptr
               : get_pointer_to_data_2009(&head, 0);
}
float* data_of(const trox_serv_block_subhead_2010& head, int* samples)
{
    return get_spect_params_for_data_type_2010(&head, nullptr, nullptr, nullptr, samples, nullptr, nullptr, nullptr,
                                               0) != 0
               ? nullptr
               : get_pointer_to_data_2010(&head, 0);
}

std::string image_text(const char* payload)
{
    const auto head = trox_detail::load_record<trox_image_frame_head>(payload);
    return std::to_string(head.w) + "x" + std::to_string(head.h) + " frame " + std::to_string(head.frame) + " pixels " +
           std::string(payload + sizeof head, static_cast<std::size_t>(head.length));
}

std::string settings_text(const char* payload)
{
    const auto block = trox_detail::load_record<trox_name_value_block>(payload);
    return std::to_string(block.id) + " " + block.comment + " " + block.values[0].name + " " +
           text_of({block.values[0].value});
}

template <class T> class same_events : public trox_test::reader_discovery<T>
{
protected:
    using entry = typename T::channel_entry;

    std::vector<std::string> read(int mode)
    {
        this->request.synch_mode = mode;
        this->set_runs(7, 7);
        channel_list channels{trace, packed, (std::string(position) + ":2").c_str(), camera, settings, current};
        EXPECT_EQ(this->reader.init(&this->request, channels.list()), 0);
        EXPECT_EQ(this->reader.start(), 0);
        std::vector<std::string> lines;
        std::vector<entry*> records;
        int status = 0;
        while ((status = this->reader.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT)) == 0) {
            for (const entry* record : records) {
                lines.push_back(line_of(record));
            }
        }
        EXPECT_EQ(status, -3);
        EXPECT_EQ(this->reader.get_number_of_events(), static_cast<int>(last_event - first_event + 1));
        EXPECT_EQ(this->reader.get_number_of_empty_events(), 0);
        return lines;
    }

private:
    std::string line_of(const entry* record) const
    {
        const auto& result = this->result_of(record);
        const std::string channel = full_name(result.chan.name, result.chan.subchan);
        return line(record->event_id.event_number, record->event_id.time, channel, value_text(record, result));
    }
    static std::string full_name(const std::string& name, int subchan)
    {
        return subchan < 0 ? name : name + ":" + std::to_string(subchan);
    }
    std::string value_text(const entry* record, const typename T::result_entry& result) const
    {
        const auto& head = this->head_of(record);
        const char* const payload = reinterpret_cast<const char*>(record->sbchdata[0].data);
        const int type = head.dtype & 0xFFFF;
        if (type == T::update_type) {
            const auto update = trox_detail::load_record<typename T::update_block>(payload);
            EXPECT_EQ(std::string(update.upd_prop), current);
            EXPECT_EQ(result.slow, 1);
            return "status " + std::to_string(update.upd_ch_status) + " at " +
                   std::to_string(update.upd_ch_time.timelow) + " " + text_of({update.upd_ch_data}) +
                   (result.updated != 0 ? "new" : "kept");
        }
        if (type == TROX_BLOCK_IMAGE) {
            return image_text(payload);
        }
        if (type == TROX_BLOCK_NAME_VALUE) {
            return settings_text(payload);
        }
        int count = 0;
        const float* const values = data_of(head, &count);
        return values == nullptr ? "no data" : text_of({values, values + count});
    }
};
TYPED_TEST_SUITE(same_events, trox_test::reader_types, trox_test::reader_type_names);

TYPED_TEST(same_events, are_read_by_event_number)
{
    write_run_of_all_kinds<TypeParam>(this->dir, this->catalogue);
    EXPECT_EQ(this->read(TROX_DAQ_SLICER_SYNCH_MODE_EVID), expected_lines());
}

TYPED_TEST(same_events, are_read_by_time)
{
    write_run_of_all_kinds<TypeParam>(this->dir, this->catalogue);
    EXPECT_EQ(this->read(TROX_DAQ_SLICER_SYNCH_MODE_TIME), expected_lines());
}

} // namespace
