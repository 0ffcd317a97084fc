// The event record accessor: what the selected channel is, and its heads.
#include "trox_daq_data.h"

#include "event_util.h"
#include "generic/accessor.h"

#include <cstdint>
#include <cstdio>

using namespace trox_detail::accessor;

// --- accessors ----------------------------------------------------------------------------------------

trox_daq_getdata::records* trox_daq_getdata::GetRes() const
{
    return Res;
}

trox_daq_getdata::records_2024* trox_daq_getdata::GetRes_2024() const
{
    return Res2024;
}

int trox_daq_getdata::GetNchan() const
{
    return Nchan;
}

int trox_daq_getdata::GetChanNumb() const
{
    return Ichan;
}

int trox_daq_getdata::Get_NFast() const
{
    return NFast;
}

int trox_daq_getdata::Get_NSlow() const
{
    return NSlow;
}

int trox_daq_getdata::Get_NImage() const
{
    return NImage;
}

const char* trox_daq_getdata::GetPropName() const
{
    return PropName;
}

int trox_daq_getdata::GetPropType() const
{
    return PropType;
}

int trox_daq_getdata::GetChanType() const
{
    return ChanType;
}

int trox_daq_getdata::GetDataType() const
{
    return DataType;
}

int trox_daq_getdata::GetNmemb() const
{
    return Nmemb;
}

trox_eventheader* trox_daq_getdata::GetEventHead() const
{
    return EventHeader;
}

trox_eventheader_2024* trox_daq_getdata::GetEventHead_2024() const
{
    return EventHeader_2024;
}

trox_serv_block_head* trox_daq_getdata::GetServBlockHead() const
{
    return SrvbHeader;
}

trox_serv_block_head_2010* trox_daq_getdata::GetServBlockHead_2010() const
{
    return SrvbHeader_2010;
}

trox_serv_block_head_2024* trox_daq_getdata::GetServBlockHead_2024() const
{
    return SrvbHeader_2024;
}

trox_serv_block_subhead* trox_daq_getdata::GetChanHead() const
{
    return ChanHeader;
}

trox_serv_block_subhead_2010* trox_daq_getdata::GetChanHead_2010() const
{
    return ChanHeader_2010;
}

void* trox_daq_getdata::GetData() const
{
    return Data;
}

// --- heads --------------------------------------------------------------------------------------------

namespace
{

/// All but the number, whose type differs.
template <class Header>
void put_event_info(const Header& header, int* type, unsigned* length, unsigned* seconds, unsigned* microseconds,
                    int* status, int* nservers)
{
    put(type, header.event_type);
    put(length, static_cast<unsigned>(header.event_length));
    put(seconds, header.event_time.timeup);
    put(microseconds, header.event_time.timelow);
    put(status, header.status);
    put(nservers, header.num_svr_block);
}

/// Brings the present selection back, however the block is left.
class selection_keeper
{
public:
    explicit selection_keeper(trox_detail::selected_record& selection) : selection_(selection), kept_(selection) {}
    ~selection_keeper()
    {
        selection_ = kept_;
    }
    selection_keeper(const selection_keeper&) = delete;
    selection_keeper& operator=(const selection_keeper&) = delete;

private:
    trox_detail::selected_record& selection_;
    const trox_detail::selected_record kept_;
};

} // namespace

/// Copies the header that stands for the event; the present record stays selected.
template <class Header>
int trox_daq_getdata::select_representative(Header* trox_detail::selected_record::*header, const char* operation,
                                            Header& representative)
{
    const selection_keeper keeper(*this);
    std::uint64_t running = 0;
    int answer = failed;
    for (int i = 0; i < Nchan; ++i) {
        Ichan = i;
        if (const int status = set_head(); status != 0) {
            std::fprintf(stderr, "trox_daq_getdata::%s: failed to SetHead() for  %d\n", operation, i);
            answer = status;
            break;
        }
        const Header& candidate = *(this->*header);
        const bool is_first_with_time = candidate.event_number == 0 && running == 0 && candidate.event_time.timeup != 0;
        if (candidate.event_number <= running && !is_first_with_time) {
            continue;
        }
        representative = candidate;
        answer = 0;
        if (!is_slow_event(candidate.event_type)) {
            break;
        }
        running = candidate.event_number;
    }
    return answer;
}

int trox_daq_getdata::GetEventInfo(unsigned* number, int* type, unsigned* length, unsigned* seconds,
                                   unsigned* microseconds, int* status, int* nservers)
{
    if (data_2024 || !is_ready() || EventHeader == nullptr) {
        std::fprintf(stderr, "trox_daq_getdata::GetEventInfo: wrong Status= %d EventHeader %p\n", Status,
                     static_cast<void*>(EventHeader));
        return failed;
    }
    trox_eventheader header;
    if (const int answer = select_representative(&selected_record::EventHeader, "GetEventInfo", header); answer != 0) {
        return answer;
    }
    put(number, header.event_number);
    put_event_info(header, type, length, seconds, microseconds, status, nservers);
    return 0;
}

int trox_daq_getdata::GetEventInfo_2024(unsigned long* number, int* type, unsigned* length, unsigned* seconds,
                                        unsigned* microseconds, int* status, int* nservers)
{
    if (!data_2024 || !is_ready() || EventHeader_2024 == nullptr) {
        std::fprintf(stderr, "trox_daq_getdata::GetEventInfo_2024: wrong Status= %d EventHeader %p\n", Status,
                     static_cast<void*>(EventHeader_2024));
        return failed;
    }
    trox_eventheader_2024 header;
    if (const int answer = select_representative(&selected_record::EventHeader_2024, "GetEventInfo_2024", header);
        answer != 0) {
        return answer;
    }
    put(number, static_cast<unsigned long>(header.event_number));
    put_event_info(header, type, length, seconds, microseconds, status, nservers);
    return 0;
}

namespace
{

template <class Head>
void put_block_info(const Head& head, unsigned* seconds, unsigned* microseconds, int* tmask, int* status, int* nchan)
{
    put(seconds, head.time.timeup);
    put(microseconds, head.time.timelow);
    put(tmask, head.tmask);
    put(status, head.status);
    put(nchan, head.nchan);
}

template <class Subhead> void put_chan_info(Subhead& head, char** name, int* dtype, int* error, int* ldata)
{
    put(name, static_cast<char*>(head.chname));
    put(dtype, head.dtype);
    put(error, head.error);
    put(ldata, head.ldata);
}

} // namespace

int trox_daq_getdata::GetServBlockInfo(unsigned* seconds, unsigned* microseconds, int* ltotal, int* mpulse, int* tmask,
                                       int* status, int* nchan) const
{
    if (Status == ready && SrvbHeader != nullptr) {
        put(ltotal, SrvbHeader->ltotal);
        put(mpulse, SrvbHeader->mpulse);
        put_block_info(*SrvbHeader, seconds, microseconds, tmask, status, nchan);
        return 0;
    }
    if (Status == ready && SrvbHeader_2010 != nullptr) {
        put(ltotal, SrvbHeader_2010->ltotal);
        put(mpulse, SrvbHeader_2010->mpulse);
        put_block_info(*SrvbHeader_2010, seconds, microseconds, tmask, status, nchan);
        return 0;
    }
    std::fprintf(stderr, "trox_daq_getdata::GetServBlockInfo: wrong Status= %d SrvbHeader %p\n", Status,
                 static_cast<void*>(SrvbHeader));
    return failed;
}

int trox_daq_getdata::GetServBlockInfo_2024(unsigned* seconds, unsigned* microseconds, int* ltotal,
                                            unsigned long* mpulse, int* tmask, int* status, int* nchan) const
{
    if (Status != ready || SrvbHeader_2024 == nullptr) {
        std::fprintf(stderr, "trox_daq_getdata::GetServBlockInfo_2024: wrong Status= %d SrvbHeader %p\n", Status,
                     static_cast<void*>(SrvbHeader_2024));
        return failed;
    }
    put(ltotal, static_cast<int>(SrvbHeader_2024->ltotal));
    put(mpulse, static_cast<unsigned long>(SrvbHeader_2024->mpulse));
    put_block_info(*SrvbHeader_2024, seconds, microseconds, tmask, status, nchan);
    return 0;
}

int trox_daq_getdata::GetChanInfo(char** name, int* dtype, int* error, int* ldata) const
{
    if (ChanHeader != nullptr) {
        put_chan_info(*ChanHeader, name, dtype, error, ldata);
        return 0;
    }
    if (ChanHeader_2010 != nullptr) {
        put_chan_info(*ChanHeader_2010, name, dtype, error, ldata);
        return 0;
    }
    std::fprintf(stderr, "trox_daq_getdata::GetChanInfo: wrong Status= %d ChanHeader %p\n", Status,
                 static_cast<void*>(ChanHeader));
    return failed;
}
