// The property front end: files, properties, events.
#include "trox_daq_data.h"

#include "trox_daq_reader.h"
#include "trox_daq_reader_2010.h"
#include "trox_daq_reader_2024.h"

#include <cstdio>
#include <cstring>
#include <type_traits>

namespace
{

constexpr int ready = 1;

// What the messages call the operation.
struct words_of_init {
    static constexpr const char* operation = "Init";
};
struct words_of_init_2024 {
    static constexpr const char* operation = "Init2024";
};

struct close_file {
    void operator()(std::FILE* file) const
    {
        std::fclose(file);
    }
};

/// The data file that a line of a list file names; empty for a line that names none.
std::string file_in_line(const char* line)
{
    constexpr std::size_t shortest = 5; // the line's end included
    constexpr const char* blanks = " \t\n\v\f\r";
    const char* comments = "#%*"; // as the very first character only: behind blanks they begin a name
    if (std::strlen(line) < shortest || std::strchr(comments, *line) != nullptr) {
        return {};
    }
    const char* begin = line + std::strspn(line, blanks);
    return {begin, std::strcspn(begin, blanks)};
}

} // namespace

trox_daq_data::trox_daq_data() = default;

trox_daq_data::~trox_daq_data()
{
    Clean();
}

void trox_daq_data::Clean()
{
    Status = 0;
    Files.reset();
    Nfile = 0;
    FileName.clear();
    Nprop = 0;
    Lprop = nullptr;
    Res.reset();
    Res2024.reset();
    Reader.reset(); // a reader that ends cleans up
    Reader_2010.reset();
    Reader_2024.reset();
    Debug = 0;
    Period.reset();
    Start.reset();
    Stop.reset();
    Period_2024.reset();
    Start_2024.reset();
    Stop_2024.reset();
}

// --- Init ---------------------------------------------------------------------------------------------

/// Makes a call of every reader. A legacy reader that refuses is dropped, and the 2010 reader goes on alone; any other
/// one that refuses is dropped too, and `code` is the answer.
template <class Wording, class Call> int trox_daq_data::call_readers(const char* what, int code, Call call)
{
    if constexpr (std::is_same_v<Wording, words_of_init_2024>) {
        if (call(*Reader_2024) != 0) {
            std::fprintf(stderr, "trox_daq_data::Init2024: can not %s\n", what);
            Reader_2024.reset();
            return code;
        }
    } else {
        const char* preposition = std::strcmp(what, "synch mode") == 0 ? " for" : "";
        if (Reader != nullptr && call(*Reader) != 0) {
            std::fprintf(stderr, "trox_daq_data::Init: can not %s%s Reader\n", what, preposition);
            Reader.reset();
        }
        if (call(*Reader_2010) != 0) {
            std::fprintf(stderr, "trox_daq_data::Init: can not %s%s Reader2010\n", what, preposition);
            Reader_2010.reset();
            return code;
        }
    }
    return 0;
}

template <class Wording, class TimeId> int trox_daq_data::set_range(TimeId* period, TimeId* start, TimeId* stop)
{
    constexpr int synch_mode_refused = -2;
    constexpr int period_refused = -6;
    constexpr int start_refused = -7;
    constexpr int stop_refused = -8;
    const auto synchronise = [](auto& reader) { return reader.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_EVID); };
    if (const int status = call_readers<Wording>("synch mode", synch_mode_refused, synchronise); status != 0) {
        return status;
    }
    call_readers<Wording>("set debug", 0, [this](auto& reader) {
        reader.set_debug(Debug);
        return 0;
    });
    const auto set_period = [&](auto& reader) { return reader.set_period(period); };
    if (const int status = call_readers<Wording>("set period", period_refused, set_period); status != 0) {
        return status;
    }
    const auto set_start = [&](auto& reader) { return reader.set_start_point(start); };
    if (const int status = call_readers<Wording>("set start point", start_refused, set_start); status != 0) {
        return status;
    }
    const auto set_stop = [&](auto& reader) { return reader.set_stop_point(stop); };
    return call_readers<Wording>("set stop point", stop_refused, set_stop);
}

/// Hands the files that the list file names to the readers.
template <class Wording> int trox_daq_data::add_files(const char* list_file)
{
    constexpr int not_opened = -2;
    constexpr int no_files = -3;
    constexpr int not_added = -9;
    constexpr std::size_t longest_line = 256; // its NUL included
    const std::unique_ptr<std::FILE, close_file> file(std::fopen(list_file, "re"));
    if (file == nullptr) {
        std::fprintf(stderr, "trox_daq_data::%s: can not open file %s\n", Wording::operation, list_file);
        return not_opened;
    }
    Files = std::make_unique<std::vector<std::string>>();
    char line[longest_line];
    while (std::fgets(line, sizeof line, file.get()) != nullptr) {
        const std::string name = file_in_line(line);
        if (name.empty()) {
            continue;
        }
        const auto add = [&](auto& reader) { return reader.add_file(name.c_str(), true); };
        if (const int status = call_readers<Wording>("add file", not_added, add); status != 0) {
            return status;
        }
        Files->push_back(name);
        ++Nfile;
    }
    if (Nfile == 0) {
        std::fprintf(stderr, "trox_daq_data::%s: no data files\n", Wording::operation);
        return no_files;
    }
    return 0;
}

template <class Wording> int trox_daq_data::add_properties()
{
    constexpr int no_properties = -4;
    constexpr int not_added = -10;
    constexpr int longest_ignored = 2;
    for (const trox_sprop* property : *Lprop) {
        if (property == nullptr || property->prname == nullptr || property->prlen <= longest_ignored) {
            continue;
        }
        // The length counts what ends the name.
        const std::string name(property->prname,
                               strnlen(property->prname, static_cast<std::size_t>(property->prlen) - 1));
        daq_channel_entry channel{};
        channel.name = name.c_str();
        channel.prms.start = -1;
        channel.prms.inc = -1;
        channel.prms.length = -1;
        channel.prms.func = -1;
        const auto add = [&](auto& reader) { return reader.add_channel(&channel); };
        if (const int status = call_readers<Wording>("add channel", not_added, add); status != 0) {
            return status;
        }
        ++Nprop;
    }
    if (Nprop == 0) {
        std::fprintf(stderr, "trox_daq_data::%s: no properties\n", Wording::operation);
        return no_properties;
    }
    return 0;
}

/// All of Init between the making of the readers and their start.
template <class Wording, class TimeId>
int trox_daq_data::prepare(const char* list_file, std::vector<trox_sprop*>* props, TimeId* period, TimeId* start,
                           TimeId* stop)
{
    if (const int status = set_range<Wording>(period, start, stop); status != 0) {
        return status;
    }
    Lprop = props;
    FileName = list_file;
    if (const int status = add_files<Wording>(list_file); status != 0) {
        return status;
    }
    return add_properties<Wording>();
}

namespace
{

constexpr int no_arguments = -1;
constexpr int not_started = -5;

/// A range record of the caller's, which may belong to a reader that Init ends.
template <class TimeId> class kept_range
{
public:
    explicit kept_range(const TimeId* given) : value_(given != nullptr ? *given : TimeId{}), is_given_(given != nullptr)
    {
    }
    /// Null where the caller gave none.
    TimeId* get()
    {
        return is_given_ ? &value_ : nullptr;
    }

private:
    TimeId value_;
    bool is_given_;
};

bool has_arguments(const char* operation, const char* list_file, const std::vector<trox_sprop*>* props)
{
    if (list_file == nullptr) {
        std::fprintf(stderr, "trox_daq_data::%s: no input files\n", operation);
        return false;
    }
    if (props == nullptr || props->empty()) {
        std::fprintf(stderr, "trox_daq_data::%s: no list of properties\n", operation);
        return false;
    }
    return true;
}

} // namespace

int trox_daq_data::Init(const char* list_file, std::vector<trox_sprop*>* props, int debug, trox_time_id* period,
                        trox_time_id* start, trox_time_id* stop)
{
    if (!has_arguments("Init", list_file, props)) {
        return no_arguments;
    }
    const std::string list = list_file; // may be the name that Clean forgets
    kept_range kept_period(period);
    kept_range kept_start(start);
    kept_range kept_stop(stop);
    Clean();
    Debug = debug;
    Res = std::make_unique<trox_daq_getdata::records>();
    Reader = std::make_unique<trox_daq_reader>();
    Reader_2010 = std::make_unique<trox_daq_reader_2010>();
    Reader->clean_up(); // also takes back what the environment says of the tolerance
    Reader_2010->clean_up();
    if (const int status =
            prepare<words_of_init>(list.c_str(), props, kept_period.get(), kept_start.get(), kept_stop.get());
        status != 0) {
        return status;
    }
    if (Reader != nullptr) {
        if (Reader->start() == 0) {
            Status = ready;
            return 0;
        }
        std::fputs("trox_daq_data::Init: can not start Reader\n", stderr);
        Reader.reset();
    }
    if (Reader_2010->start() != 0) {
        Reader_2010.reset();
        return not_started;
    }
    Status = ready;
    return 0;
}

int trox_daq_data::Init2024(const char* list_file, std::vector<trox_sprop*>* props, int debug,
                            trox_time_id_2024* period, trox_time_id_2024* start, trox_time_id_2024* stop)
{
    if (!has_arguments("Init2024", list_file, props)) {
        return no_arguments;
    }
    const std::string list = list_file;
    kept_range kept_period(period);
    kept_range kept_start(start);
    kept_range kept_stop(stop);
    Clean();
    Debug = debug;
    Res2024 = std::make_unique<trox_daq_getdata::records_2024>();
    Reader_2024 = std::make_unique<trox_daq_reader_2024>();
    Reader_2024->clean_up();
    if (const int status =
            prepare<words_of_init_2024>(list.c_str(), props, kept_period.get(), kept_start.get(), kept_stop.get());
        status != 0) {
        return status;
    }
    if (Reader_2024->start() != 0) {
        Reader_2024.reset();
        return not_started;
    }
    Status = ready;
    return 0;
}

// --- events -------------------------------------------------------------------------------------------

namespace
{

constexpr int not_read = -2;

/// Reads the next event with a reader, if there is one. `no_failure` is an answer that counts as success beside 0.
/// After a failure there are no records: those of the event before may be gone.
template <class Reader, class Records>
int read_event(const std::unique_ptr<Reader>& reader, Records* records, const char* name,
               trox_daq_reader_status no_failure = TROX_DAQ_READER_OK)
{
    if (reader == nullptr) {
        return 0;
    }
    const int status = reader->get_data(nullptr, records, TROX_DAQ_READ_CHAN_EVENT_NEXT);
    if (status != 0 && status != no_failure) {
        std::fprintf(stderr, "trox_daq_data::GetData: data are not read %s\n", name);
        records->clear();
        return not_read;
    }
    if (records->empty()) {
        std::fprintf(stderr, "trox_daq_data::GetData: wrong data from %s size= %zu\n", name, records->size());
        return not_read;
    }
    return 0;
}

} // namespace

int trox_daq_data::GetData()
{
    if (Status != ready) {
        std::fprintf(stderr, "trox_daq_data::GetData: wrong status= %d\n", Status);
        return no_arguments;
    }
    if (const int status = read_event(Reader, Res.get(), "Reader"); status != 0) {
        return status;
    }
    // One that was left unstarted beside the legacy reader has nothing to add, and leaves the records as they are.
    const auto unstarted = Reader != nullptr ? TROX_DAQ_READER_NOT_INIT : TROX_DAQ_READER_OK;
    if (const int status = read_event(Reader_2010, Res.get(), "Reader2010", unstarted); status != 0) {
        return status;
    }
    return read_event(Reader_2024, Res2024.get(), "Reader2024");
}

// --- getters ------------------------------------------------------------------------------------------

int trox_daq_data::GetStatus() const
{
    return Status;
}

int trox_daq_data::GetNfile() const
{
    return Nfile;
}

int trox_daq_data::GetNprop() const
{
    return Nprop;
}

int trox_daq_data::GetDebug() const
{
    return Debug;
}

const char* trox_daq_data::GetFileName() const
{
    return FileName.c_str();
}

std::vector<std::string>* trox_daq_data::GetFiles() const
{
    return Files.get();
}

std::vector<trox_sprop*>* trox_daq_data::GetLprop() const
{
    return Lprop;
}

trox_time_id* trox_daq_data::GetPeriod() const
{
    return Period.get();
}

trox_time_id* trox_daq_data::GetStart() const
{
    return Start.get();
}

trox_time_id* trox_daq_data::GetStop() const
{
    return Stop.get();
}

trox_time_id_2024* trox_daq_data::GetPeriod_2024() const
{
    return Period_2024.get();
}

trox_time_id_2024* trox_daq_data::GetStart_2024() const
{
    return Start_2024.get();
}

trox_time_id_2024* trox_daq_data::GetStop_2024() const
{
    return Stop_2024.get();
}

trox_daq_getdata::records* trox_daq_data::GetRes() const
{
    return Res.get();
}

trox_daq_getdata::records_2024* trox_daq_data::GetRes_2024() const
{
    return Res2024.get();
}

trox_daq_reader* trox_daq_data::GetReader() const
{
    return Reader.get();
}

trox_daq_reader_2010* trox_daq_data::GetReader_2010() const
{
    return Reader_2010.get();
}

trox_daq_reader_2024* trox_daq_data::GetReader_2024() const
{
    return Reader_2024.get();
}
