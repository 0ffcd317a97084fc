// A program as users write it: writes a run, finds it in the catalogue, reads it event by event.
#include <trox_daq_reader_2010.h>

#include <event_util.h>
#include <trox/trox.h>
#include <trox_writer.h>
#include <trox_xml.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

namespace
{

namespace tw = trox::writer;

constexpr int run_number = 7;
constexpr int event_count = 5;
constexpr std::uint32_t first_second = 1339666200; // 20120614T093000
constexpr const char* channel_name = "LINAC.DIAG/TOROID/3/CHARGE";

void check(bool good, const std::string& what)
{
    if (!good) {
        std::cerr << "FAILED: " << what << '\n';
        std::exit(1);
    }
}

float sample_of(int event, int sample)
{
    return static_cast<float>(10 * event + sample);
}

void write_run(const std::string& folder)
{
    tw::run_settings settings;
    settings.data_directory = folder;
    settings.catalogue_directory = folder;
    settings.run = {"linac", "main", run_number};
    settings.format = tw::generation::v2010;
    tw::run_writer run(settings);
    const auto channel = run.add_channel(channel_name, tw::storage::zlib);
    for (int event = 1; event <= event_count; ++event) {
        tw::event_info info;
        info.number = static_cast<std::uint64_t>(event);
        info.time = {first_second, static_cast<std::uint32_t>(event) * 100000U};
        run.begin_event(info);
        tw::server_block_info block;
        block.name = "DIAG.SVR1";
        run.begin_server_block(block);
        const std::vector<float> samples{sample_of(event, 0), sample_of(event, 1), sample_of(event, 2)};
        run.add_record(channel, tw::spectrum_payload(tw::generation::v2010, TROX_BLOCK_1CHAN_2010, samples));
        run.end_event();
    }
    run.finish();
}

void check_platform_libraries(const std::string& folder)
{
    std::vector<trox_root_xml_files*> lists;
    std::string key = "linac/main";
    const int status =
        get_files_for_runs({run_number}, &lists, nullptr, &key, folder.c_str(), TROX_DAQ_DATA_RAW_FORMAT);
    check(status == 0 && lists.size() == 1 && lists[0]->rfiles.size() == 1, "the catalogue names one file: " + key);
    time_stamp time{};
    check(get_time_from_file_name(lists[0]->rfiles[0]->c_str(), &time) == 0 && time.timeup == first_second,
          "the file's name carries the time of its first event");
    delete lists[0];
}

void check_event(const trox_channel_entry_long& entry, int event)
{
    check(entry.event_id.event_number == static_cast<std::uint32_t>(event), "events come in order");
    const auto* block = reinterpret_cast<const trox_serv_block_subhead_2010*>(entry.sbchdata[0].chhd);
    const float* samples = get_pointer_to_data_2010(block, 0);
    check(samples != nullptr, "the record is a trace");
    for (int sample = 0; sample < 3; ++sample) {
        check(samples[sample] == sample_of(event, sample), "the samples are those that were written");
    }
}

void read_run(const std::string& folder)
{
    trox_daq_request request;
    request.run_first = run_number;
    request.cdir = folder + "/";
    request.ddir = folder + "/";
    std::string("linac").copy(request.exp_name, sizeof request.exp_name - 1);
    std::string("main").copy(request.stream_name, sizeof request.stream_name - 1);
    request.time_diff = {0, 50000};
    request.period = {1, {0, 100000}};

    daq_channel_entry channel{channel_name, {}};
    std::vector<daq_channel_entry*> channels{&channel};
    trox_daq_reader_2010 reader;
    check(reader.init(&request, &channels) == TROX_DAQ_READER_OK, std::string("init: ") + reader.get_last_error());
    check(reader.start() == TROX_DAQ_READER_OK, std::string("start: ") + reader.get_last_error());
    std::vector<trox_channel_entry_long*> result;
    int event = 0;
    while (reader.get_data(nullptr, &result, TROX_DAQ_READ_CHAN_EVENT_NEXT) == TROX_DAQ_READER_OK) {
        check(result.size() == 1, "every event has the channel");
        check_event(*result[0], ++event);
    }
    check(event == event_count, "all events are read");
    reader.clean_up();
}

void read_any_generation(const std::string& folder)
{
    const auto data = trox::data_set::open_run({folder, {folder}, "linac", "main"}, run_number);
    trox::event_reader events(data, {{trox::pattern_from_text("LINAC.DIAG/*")}, {}, {}, trox::on_missing::keep});
    int event = 0;
    for (const trox::event& found : events) {
        const auto charge = found[0].trace();
        ++event;
        check(charge && charge->samples.size() == 3 && charge->samples[2] == sample_of(event, 2),
              "the samples are those that were written");
    }
    check(event == event_count, "all events are read, whatever the generation");
}

} // namespace

int main(int argc, char** argv)
{
    check(argc == 2, "usage: consumer FOLDER");
    const std::string folder = argv[1];
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    setenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1); // the file is younger than 30 seconds
    write_run(folder);
    check_platform_libraries(folder);
    read_run(folder);
    read_any_generation(folder);
    std::cout << "read " << event_count << " events back\n";
    return 0;
}
