// How the program behaves: exit codes, one-line errors with hints, pipes and terminals, bad input.
#include "run_trox.h"
#include "temp_directory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using trox_test::program_result;
using trox_test::run_trox;

const std::string first_file = "data_2010/linac_main_run1042_file1_20120614T093000.raw";

struct failing_use {
    const char* name;
    std::vector<std::string> arguments;
    int code;
    const char* diagnostics; ///< all of standard error
};

class use : public testing::TestWithParam<failing_use>
{
};

TEST_P(use, fails_with_a_code_a_reason_and_a_hint)
{
    const auto result = run_trox(GetParam().arguments);
    EXPECT_EQ(result.code, GetParam().code);
    EXPECT_EQ(result.err, GetParam().diagnostics);
    EXPECT_EQ(result.out, "");
}

const failing_use failures[]{
    {"no_verb", {}, 2, "trox: a verb is missing\ntrox: hint: \"trox help\" lists them\n"},
    {"unknown_verb", {"lst"}, 2, "trox: there is no verb \"lst\"\ntrox: hint: did you mean list?\n"},
    {"verb_with_swapped_letters", {"ifno"}, 2, "trox: there is no verb \"ifno\"\ntrox: hint: did you mean info?\n"},
    {"verb_in_capitals", {"LIST"}, 2, "trox: there is no verb \"LIST\"\ntrox: hint: did you mean list?\n"},
    {"option_before_verb",
     {"--json", "list"},
     2,
     "trox: there is no option --json before the verb\ntrox: hint: options go behind the verb\n"},
    {"unknown_option",
     {"list", "data_2010", "--jsn"},
     2,
     "trox: list: there is no option --jsn\ntrox: list: hint: did you mean --json?\n"},
    {"unknown_format",
     {"list", "data_2010", "--format", "xml"},
     2,
     "trox: list: --format: \"xml\" is none of table, json, ndjson, csv\n"
     "trox: list: hint: \"trox help list\" lists arguments and options\n"},
    {"two_formats",
     {"list", "data_2010", "--json", "--format", "csv"},
     2,
     "trox: list: --format excludes --json\ntrox: list: hint: \"trox help list\" lists arguments and options\n"},
    {"value_missing",
     {"list", "data_2010", "--kind"},
     2,
     "trox: list: --kind: a value is missing\ntrox: list: hint: \"trox help list\" lists arguments and options\n"},
    {"given_twice",
     {"list", "data_2010", "--tz", "UTC", "--tz", "UTC"},
     2,
     "trox: list: --tz: given twice\ntrox: list: hint: \"trox help list\" lists arguments and options\n"},
    {"unknown_conversion",
     {"list", "data_2010", "--time-format", "%H %Q"},
     2,
     "trox: list: --time-format: there is no conversion \"%Q\"\n"
     "trox: list: hint: %f for microseconds, else those of strftime; %% shows a per cent sign\n"},
    {"enormous_conversion",
     {"list", "data_2010", "--time-format", "%0999999999Y"},
     2,
     "trox: list: --time-format: there is no conversion \"%0999999999Y\"\n"
     "trox: list: hint: %f for microseconds, else those of strftime; %% shows a per cent sign\n"},
    {"export_to_a_file_without_a_name",
     {"export", "data_2010", "-o", ""},
     2,
     "trox: export: --output: the name of the file is empty\n"
     "trox: export: hint: \"trox help export\" lists arguments and options\n"},
    {"doctor_of_files_and_a_run",
     {"doctor", "data_2010", "--run", "1042", "--catalogue", "catalogue"},
     2,
     "trox: doctor: files and --run are two things to read\ntrox: doctor: hint: name one of them\n"},
    {"doctor_of_files_and_a_period",
     {"doctor", "data_2010", "--from", "2012-06-14"},
     2,
     "trox: doctor: --from and --to name a period, and files or a run are named as well\n"
     "trox: doctor: hint: name one of them\n"},
    {"unknown_zone",
     {"list", "data_2010", "--tz", "Mars/Olympus"},
     2,
     "trox: list: --tz: there is no time zone \"Mars/Olympus\"\n"
     "trox: list: hint: UTC, local, or a name like Europe/Berlin from /usr/share/zoneinfo\n"},
    {"nothing_named",
     {"info"},
     2,
     "trox: info: nothing to read is named\ntrox: info: hint: a file, a directory, --run N --catalogue DIR, or "
     "--from "
     "TIME --to TIME --catalogue DIR\n"},
    {"files_and_run",
     {"info", "data_2010", "--run", "1042", "--catalogue", "catalogue"},
     2,
     "trox: info: files and --run are two things to read\ntrox: info: hint: name one of them\n"},
    {"no_such_file", {"info", "nothing.raw"}, 1, "trox: info: nothing.raw: No such file or directory\n"},
    {"no_such_channel",
     {"show", "data_2010", "-c", "LINAC.MAG/QUAD/Q5.BC2/I.RBX"},
     1,
     "trox: show: there is no channel \"LINAC.MAG/QUAD/Q5.BC2/I.RBX\"\n"
     "trox: show: hint: did you mean LINAC.MAG/QUAD/Q5.BC2/I.RBV?\n"},
    {"empty_selection", {"show", "data_2010", "X*"}, 1, "trox: show: no channel matches \"X*\"\n"},
    {"bad_pattern",
     {"show", "data_2010", "re:a{2"},
     2,
     "trox: show: \"a{2\" is no pattern: Mismatched '{' and '}' in regular expression\n"},
    {"no_such_event",
     {"show", "data_2010", "--event", "5"},
     1,
     "trox: show: there is no event 5\ntrox: show: hint: events of this selection are 388120040 "
     "(2012-06-14T09:30:00.249944Z) to 388120159 (2012-06-14T09:30:12.150183Z)\n"},
    {"empty_range", {"show", "data_2010", "--from", "2013-01-01"}, 1, "trox: show: there is no event\n"},
    {"no_such_run",
     {"info", "--run", "7", "--catalogue", "catalogue"},
     1,
     "trox: info: catalogue: the catalogue has no run 7\n"},
    {"bad_time",
     {"find", "yesterday", "--catalogue", "catalogue"},
     2,
     "trox: find: \"yesterday\" is no time; write 2012-06-14, 2012-06-14T09:30:00.25Z, "
     "2012-06-14T11:30:00+02:00, "
     "20120614T093000 or @1339666200.25\n"},
    {"period_beside_files",
     {"info", "data_2010", "--from", "2012-06-14"},
     2,
     "trox: info: --from and --to name a period, and files or a run are named as well\ntrox: info: hint: name "
     "one of "
     "them\n"},
    {"no_catalogue_directory",
     {"find", "7", "--catalogue", "nothing"},
     1,
     "trox: find: nothing: the run catalogue cannot be read: No such file or directory\n"},
    {"no_catalogue",
     {"find", "7"},
     2,
     "trox: find: --catalogue is missing\ntrox: find: hint: the directory of the run catalogue\n"},
    {"bad_slice",
     {"show", "data_2010", "--slice", "5"},
     2,
     "trox: show: --slice: \"5\" is no slice like 0:16, 100:50:2 or 512: (all from there on)\n"
     "trox: show: hint: \"trox help show\" lists arguments and options\n"},
    {"slice_of_an_event",
     {"show", "data_2010", "--slice", "0:4"},
     2,
     "trox: show: --slice shows samples of a channel, and an event is shown\ntrox: show: hint: name one channel\n"},
    {"empty_tolerance",
     {"show", "data_2010", "--by-time="},
     2,
     "trox: show: --by-time: a value is missing\ntrox: show: hint: \"trox help show\" lists arguments and options\n"},
    {"catalogue_beside_files",
     {"info", "data_2010", "--catalogue", "catalogue"},
     2,
     "trox: info: --catalogue tells where runs lie, and files are named as well\ntrox: info: hint: name one of them\n"},
    {"data_beside_files",
     {"cover", "data_2010", "--data", "data_2010"},
     2,
     "trox: cover: --data tells where runs lie, and files are named as well\ntrox: cover: hint: name one of them\n"},
    {"experiment_beside_files",
     {"list", "data_2010", "--experiment", "linac"},
     2,
     "trox: list: --experiment tells where runs lie, and files are named as well\ntrox: list: hint: name one of "
     "them\n"},
    {"stream_beside_files",
     {"doctor", "data_2010", "--stream", "main"},
     2,
     "trox: doctor: --stream tells where runs lie, and files are named as well\n"
     "trox: doctor: hint: name one of them\n"},
    {"empty_file_name", {"info", ""}, 2, "trox: info: the name of a file is empty\n"},
    {"argument_missing",
     {"recover", "damaged.raw"},
     2,
     "trox: recover: FILE (The new file) is missing\n"
     "trox: recover: hint: \"trox help recover\" lists arguments and options\n"},
    {"cut_time_format",
     {"info", "data_2010", "--time-format", "%H:%M:%"},
     2,
     "trox: info: --time-format: \"%H:%M:%\" ends within a conversion\n"
     "trox: info: hint: %% shows a per cent sign\n"},
    {"two_events",
     {"show", "data_2010", "--first", "--last"},
     2,
     "trox: show: --first excludes --last\ntrox: show: hint: \"trox help show\" lists arguments and options\n"},
};

INSTANTIATE_TEST_SUITE_P(of_the_program, use, testing::ValuesIn(failures),
                         [](const auto& which) { return which.param.name; });

TEST(input, that_is_no_data_file_is_told_of)
{
    const trox_test::temp_directory directory;
    std::ofstream(directory.file("text.raw")) << "this is no data file, however long it may be";
    std::ofstream(directory.file("empty.raw"));
    for (const char* const name : {"text.raw", "empty.raw"}) {
        const auto result = run_trox({"info", directory.file(name)});
        EXPECT_EQ(result.code, 1);
        EXPECT_THAT(result.err, StartsWith("trox: info: " + directory.file(name) + ": "));
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1);
        EXPECT_EQ(result.out, "");
    }
}

TEST(input, that_is_partly_bad_is_read_with_a_loss)
{
    const trox_test::temp_directory directory;
    std::ofstream(directory.file("text.raw")) << "this is no data file";
    const auto result = run_trox({"list", "files", directory.file("text.raw"), first_file, "--format", "csv"});
    EXPECT_EQ(result.code, 3);
    EXPECT_THAT(result.err, StartsWith("trox: list: " + directory.file("text.raw") + ": passed over: "));
    EXPECT_THAT(result.out, HasSubstr(first_file));
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 2);
}

TEST(input, directories_need_data_files)
{
    const trox_test::temp_directory directory;
    const auto result = run_trox({"info", directory.file("")});
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.err, "trox: info: " + directory.file("") + ": holds no *.raw files\n");
}

TEST(input, directories_may_be_unreadable)
{
    const trox_test::temp_directory directory;
    const std::string closed = directory.file("closed");
    std::filesystem::create_directory(closed);
    std::filesystem::permissions(directory.file(""), std::filesystem::perms::all);
    std::filesystem::permissions(closed, std::filesystem::perms::none);
    trox_test::run_options options;
    constexpr unsigned nobody = 65534;
    options.user = ::geteuid() == 0 ? nobody : 0; // the superuser reads all directories
    options.directory = "/";
    if (::access(TROX_PROGRAM, X_OK) != 0) {
        GTEST_SKIP() << "the program cannot be run by others";
    }
    const auto result = run_trox({"info", closed}, options);
    std::filesystem::permissions(closed, std::filesystem::perms::all);
    if (result.code == 127) {
        GTEST_SKIP() << "the program cannot be run by others";
    }
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.err, "trox: info: " + closed + ": cannot be read: Permission denied\n");
}

TEST(input, names_with_control_characters_stay_on_one_line)
{
    const auto result = run_trox({"info", "a\n\033[31mb.raw"});
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1);
    EXPECT_THAT(result.err, Not(HasSubstr("\033")));
}

// --- standard output ----------------------------------------------------------------------------------------

TEST(pipe, that_closes_ends_the_program_quietly)
{
    const trox_test::temp_directory directory;
    ASSERT_EQ(run_trox({"make", directory.file("run"), "--events", "3", "--channels", "2000"}).code, 0);
    // Far more output than a pipe holds.
    const auto result = trox_test::run_trox_into_closing_pipe({"list", directory.file("run"), "--json"}, 100);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.size(), 100U);
}

TEST(pipe, that_closes_does_not_hide_a_loss)
{
    const trox_test::temp_directory directory;
    ASSERT_EQ(run_trox({"make", directory.file("run"), "--events", "3", "--channels", "2000"}).code, 0);
    std::ofstream(directory.file("run/text.raw")) << "this is no data file";
    const auto result = trox_test::run_trox_into_closing_pipe({"list", directory.file("run"), "--json"}, 100);
    EXPECT_EQ(result.code, 3);
    EXPECT_THAT(result.err, HasSubstr("passed over"));
}

TEST(terminal, decides_width_and_colours)
{
    trox_test::run_options options;
    options.environment = {{"TERM", "xterm"}, {"NO_COLOR", ""}};
    const auto result = trox_test::run_trox_on_terminal({"list", "data_2010"}, 60, options);
    EXPECT_EQ(result.code, 0);
    EXPECT_THAT(result.out, StartsWith("\033[1mname"));
    EXPECT_THAT(result.out, HasSubstr("…"));
}

TEST(terminal, has_no_colours_when_they_are_refused)
{
    trox_test::run_options refusing;
    refusing.environment = {{"TERM", "xterm"}, {"NO_COLOR", "1"}};
    EXPECT_THAT(trox_test::run_trox_on_terminal({"list", "data_2010"}, 200, refusing).out, Not(HasSubstr("\033")));
    trox_test::run_options options;
    options.environment = {{"TERM", "xterm"}, {"NO_COLOR", ""}};
    EXPECT_THAT(trox_test::run_trox_on_terminal({"list", "data_2010", "--color", "never"}, 200, options).out,
                Not(HasSubstr("\033")));
    options.environment = {{"TERM", "dumb"}, {"NO_COLOR", ""}};
    EXPECT_THAT(trox_test::run_trox_on_terminal({"list", "data_2010"}, 200, options).out, Not(HasSubstr("\033")));
}

TEST(terminal, is_not_needed_for_colours_that_are_asked_for)
{
    EXPECT_THAT(run_trox({"list", "data_2010", "--color", "always"}).out, StartsWith("\033[1mname"));
}

TEST(output_option, puts_results_into_a_file)
{
    const trox_test::temp_directory directory;
    const std::string path = directory.file("channels.json");
    const auto result = run_trox({"list", "data_2010", "--json", "-o", path});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.out, "");
    std::ifstream file(path);
    EXPECT_EQ(nlohmann::json::parse(file).at("schema"), "trox.list/1");
}

TEST(output_option, leaves_no_file_of_a_failure)
{
    const trox_test::temp_directory directory;
    const auto result = run_trox({"show", "data_2010", "--event", "5", "-o", directory.file("event")});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(std::filesystem::is_empty(directory.file("")));
}

// --- numbers ------------------------------------------------------------------------------------------------

TEST(stat, of_a_range_has_no_ratio)
{
    const auto ratios_of = [](std::vector<std::string> use) {
        use.insert(use.begin(), {"stat", "data_2010", "LINAC.DIAG/TOROID/3.UNDU/CHARGE", "--json"});
        return run_trox(use).json().at("channels").at(0).at("ratio");
    };
    EXPECT_GT(ratios_of({}).get<double>(), 0);
    EXPECT_TRUE(ratios_of({"--to-event", "388120050"}).is_null());
    EXPECT_TRUE(ratios_of({"--from", "2012-06-14T09:30:01"}).is_null());
}

TEST(channels_without_records, have_no_compression)
{
    const trox_test::temp_directory directory;
    const std::string run = directory.file("run"); // too short for channels that answer seldom
    ASSERT_EQ(run_trox({"make", run, "--events", "1", "--files", "1"}).code, 0);
    const auto all = run_trox({"list", run, "--json"}).json().at("channels");
    const auto with_records =
        std::count_if(all.begin(), all.end(), [](const auto& channel) { return channel.at("records") != 0; });
    ASSERT_LT(with_records, static_cast<std::ptrdiff_t>(all.size()));
    std::ptrdiff_t counted = 0;
    const auto info = run_trox({"info", run, "--json"}).json();
    for (const auto& kind : info.at("kinds")) {
        counted += kind.at("plain_channels").get<std::ptrdiff_t>() + kind.at("zlib_channels").get<std::ptrdiff_t>() +
                   kind.at("lzo_channels").get<std::ptrdiff_t>();
    }
    EXPECT_EQ(counted, with_records);
    const auto stat = run_trox({"stat", run, "--json"}).json();
    for (const auto& channel : stat.at("channels")) {
        EXPECT_EQ(channel.at("compression").is_null(), channel.at("records") == 0) << channel.at("channel");
    }
}

// --- selections ---------------------------------------------------------------------------------------------

TEST(selection, of_channels_takes_names_globs_and_expressions_anywhere)
{
    const auto channels_of = [](const std::vector<std::string>& arguments) {
        std::vector<std::string> words{"show", "--json"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<std::string> names;
        const auto records = run_trox(words).json().at("records");
        for (const auto& record : records) {
            names.push_back(record.at("channel"));
        }
        return names;
    };
    const std::vector<std::string> expected{"LINAC.RF/ADC/A07.M2/TRACE.L", "LINAC.DIAG/BPM/12.L2/XY"};
    EXPECT_EQ(channels_of({"data_2010", "*TRACE.L", "-c", "re:.*/XY"}), expected);
    EXPECT_EQ(channels_of({"*TRACE.L", "LINAC.DIAG/BPM/12.L2/XY", "data_2010"}), expected);
    EXPECT_EQ(channels_of({"--channel", expected[0], first_file, "--channel", expected[1]}), expected);
}

TEST(selection, of_a_slow_channel_shows_the_value_that_holds_at_any_event)
{
    const std::string slow = "LINAC.MAG/QUAD/Q5.BC2/I.RBV";
    int carried = 0;
    for (const char* const event : {"388120059", "388120060", "388120078", "388120119", "388120159"}) {
        const auto whole = run_trox({"show", "data_2010", "--event", event, "--json"}).json();
        const auto records = whole.at("records");
        const auto row = std::find_if(records.begin(), records.end(),
                                      [&](const auto& record) { return record.at("channel") == slow; });
        ASSERT_NE(row, records.end());
        ASSERT_FALSE(row->at("kind").is_null()) << event;
        const std::string time = whole.at("event").at("time");
        for (const std::vector<std::string>& which :
             {std::vector<std::string>{"--event", event}, std::vector<std::string>{"--time", time}}) {
            const auto result = run_trox({"show", "data_2010", slow, which[0], which[1], "--json"});
            ASSERT_EQ(result.code, 0) << result.err;
            const auto shown = result.json();
            EXPECT_EQ(shown.at("record").at("updated"), row->at("updated"));
            EXPECT_EQ(shown.at("record").at("offset"), row->at("offset"));
            EXPECT_EQ(shown.at("slow").at("value"), row->at("value"));
        }
        carried += row->at("updated") == false ? 1 : 0;
    }
    EXPECT_GT(carried, 0);
}

TEST(kinds, are_taken_as_they_are_shown_and_with_dashes)
{
    const auto shown = run_trox({"list", "data_2010", "--kind", "region of interest", "--json"});
    EXPECT_EQ(shown.code, 0) << shown.err;
    ASSERT_EQ(shown.json().at("channels").size(), 1U);
    EXPECT_EQ(shown.json().at("channels")[0].at("kind"), "region of interest");
    EXPECT_EQ(run_trox({"list", "data_2010", "--kind", "region-of-interest", "--json"}).out, shown.out);
}

TEST(selection, by_time_matches_what_lies_close_together)
{
    const auto missing_by = [](const std::string& how) {
        const auto result = run_trox({"show", "data_2010", "--event", "388120042", how, "--json"});
        EXPECT_EQ(result.code, 0) << result.err;
        const auto records = result.json().at("records");
        return std::count_if(records.begin(), records.end(),
                             [](const auto& record) { return record.at("kind").is_null(); });
    };
    // The cameras answer 3 ms after the machine.
    EXPECT_EQ(missing_by("--by-time=1ms") - missing_by("--by-time=10ms"), 2);
    EXPECT_EQ(missing_by("--by-time=50ms"), missing_by("--by-time"));
}

TEST(selection, of_events_drops_or_refuses_those_with_gaps)
{
    const std::vector<std::string> start{"show", "data_2010",   "LINAC.DIAG/TOROID/3.UNDU/CHARGE",
                                         "*/XY", "*/SCR.4/IMG", "--json"};
    const auto with = [&](const std::string& rule) {
        auto arguments = start;
        arguments.insert(arguments.end(), {"--missing", rule});
        return run_trox(arguments);
    };
    EXPECT_EQ(with("keep").json().at("event").at("event"), 388120040);
    EXPECT_EQ(with("drop").json().at("event").at("event"), 388120042); // the first one with an image
    const auto refused = with("fail");
    EXPECT_EQ(refused.code, 1);
    EXPECT_THAT(refused.err, HasSubstr("LINAC.DIAG/CAM/SCR.4/IMG"));
}

// --- files that are passed over ---------------------------------------------------------------------------------

TEST(catalogue_file, that_is_damaged_is_told_of_by_find_list_and_periods)
{
    const trox_test::temp_directory directory;
    const std::string catalogue = directory.file("catalogue");
    std::filesystem::copy(std::string(TROX_TEST_DATA_DIR) + "/catalogue", catalogue);
    const std::string damaged = catalogue + "/linac_main_run977_20091103T221510_20091103T221523.xml";
    std::filesystem::permissions(damaged, std::filesystem::perms::owner_write, std::filesystem::perm_options::add);
    std::filesystem::resize_file(damaged, 30);
    const std::vector<std::string> place{"--catalogue", catalogue, "--data", "data_2010", "--data", "data_legacy"};
    const auto run_there = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), place.begin(), place.end());
        return run_trox(arguments);
    };
    const std::vector<std::string> period{"--from", "2009-01-01", "--to", "2013-01-01"};
    for (const std::vector<std::string>& verb :
         {std::vector<std::string>{"find"}, std::vector<std::string>{"list", "runs"},
          std::vector<std::string>{"info"}}) {
        SCOPED_TRACE(verb[0]);
        auto arguments = verb;
        arguments.insert(arguments.end(), period.begin(), period.end());
        const program_result result = run_there(arguments);
        EXPECT_EQ(result.code, 3) << result.err;
        EXPECT_THAT(result.err, HasSubstr(damaged + ": passed over: the catalogue file cannot be read"));
        EXPECT_THAT(result.out, HasSubstr(verb[0] == "info" ? "data_2010" : "1042"));
    }
    EXPECT_EQ(run_there({"find", "977"}).code, 1);
    EXPECT_THAT(run_there({"find", "977"}).err, HasSubstr(damaged));
    EXPECT_EQ(run_there({"find", "1042"}).code, 0);
}

} // namespace
