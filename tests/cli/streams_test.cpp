// Standard output and error that are closed, full or a terminal; bars; memory and threads.
#include "run_trox.h"
#include "temp_directory.h"
#include "trox_writer.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using trox_test::run_options;
using trox_test::run_trox;

std::string text_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// A catalogue with a run whose last file is no data file.
class a_run_with_a_loss : public testing::Test
{
protected:
    a_run_with_a_loss()
    {
        run_trox({"make", run_, "--events", "12", "--files", "3"});
        for (const auto& entry : fs::directory_iterator(run_)) {
            if (entry.path().string().find("_file3_") != std::string::npos) {
                std::ofstream(entry.path(), std::ios::trunc) << "this is no data file";
            }
        }
    }

    trox_test::temp_directory directory_;
    std::string run_ = directory_.file("run");
};

TEST_F(a_run_with_a_loss, leaves_a_result_file_alone_when_standard_error_is_closed)
{
    const std::vector<std::string> find{"find", "1", "--catalogue", run_, "--json"};
    const auto expected = run_trox(find);
    ASSERT_EQ(expected.code, 3);
    auto into_file = find;
    into_file.insert(into_file.end(), {"-o", directory_.file("found.json")});
    for (const auto& closed : std::vector<std::vector<int>>{{2}, {0, 2}, {0, 1, 2}, {1, 2}}) {
        run_options options;
        options.closed = closed;
        EXPECT_EQ(run_trox(into_file, options).code, 3);
        EXPECT_EQ(text_of(directory_.file("found.json")), expected.out);
    }
}

TEST_F(a_run_with_a_loss, fails_when_standard_output_is_closed)
{
    run_options options;
    options.closed = {STDOUT_FILENO};
    for (const char* const format : {"table", "json", "ndjson", "csv"}) {
        const auto result = run_trox({"list", run_, "--format", format}, options);
        EXPECT_EQ(result.code, 1);
        EXPECT_THAT(result.err, HasSubstr("standard output: cannot be written: Bad file descriptor"));
    }
}

TEST(output, that_has_no_room_left_fails)
{
    const trox_test::temp_directory directory;
    run_options options;
    options.largest_file = 4096;
    const auto to_file = run_trox({"list", "data_2010", "--json", "-o", directory.file("list.json")}, options);
    EXPECT_EQ(to_file.code, 1);
    EXPECT_THAT(to_file.err, EndsWith("list.json: cannot be written: File too large\n"));
    EXPECT_TRUE(fs::is_empty(directory.file("")));
    options.out_file = directory.file("out");
    const auto to_stdout = run_trox({"list", "data_2010", "--json"}, options);
    EXPECT_EQ(to_stdout.code, 1);
    EXPECT_EQ(to_stdout.err, "trox: list: standard output: cannot be written: File too large\n");
}

TEST(output, into_a_pipe_that_nobody_reads_ends_by_a_signal)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        for (const auto& use : {std::vector<std::string>{"export", "data_2010", "--format", "csv"},
                                {"export", "data_2010", "--format", "ndjson"}}) {
            EXPECT_EQ(trox_test::signal_that_ended_trox_before_a_full_pipe(use, signal), signal);
        }
    }
}

TEST(output, to_a_dash_is_standard_output)
{
    EXPECT_EQ(run_trox({"list", "data_2010", "-o", "-"}).out, run_trox({"list", "data_2010"}).out);
    EXPECT_FALSE(fs::exists(TROX_TEST_DATA_DIR "/-"));
    EXPECT_EQ(run_trox({"list", "data_2010", "--output="}).code, 2);
}

TEST(output, of_an_export_to_a_dash_is_standard_output)
{
    const auto result = run_trox({"export", "data_2010", "LINAC.DIAG/TOROID/3.UNDU/CHARGE", "-o", "-"});
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(result.out.substr(0, 11), "event,time,");
    EXPECT_FALSE(fs::exists(TROX_TEST_DATA_DIR "/-"));
}

TEST(output, of_an_export_moves_no_cursor_of_a_terminal)
{
    namespace tw = trox::writer;
    const trox_test::temp_directory directory;
    const std::string text = "\033]0;owned\a";
    tw::file_writer file(directory.file("a.raw"), tw::generation::v2010);
    const auto channel = file.add_channel("T/TEXT");
    file.begin_event({1, {1339666200, 0}});
    file.begin_server_block({"S"});
    file.add_record(channel, tw::control_payload(text, {1339666200, 0}));
    file.end_event();
    file.finish();
    const std::vector<std::string> use{"export", directory.file("a.raw"), "--format", "csv"};
    EXPECT_THAT(run_trox(use).out, HasSubstr(text));
    const auto shown = trox_test::run_trox_on_terminal(use, 80);
    EXPECT_EQ(shown.code, 0);
    EXPECT_THAT(shown.out, HasSubstr("]0;owned"));
    EXPECT_THAT(shown.out, Not(HasSubstr("\033]")));
    EXPECT_THAT(shown.out, Not(HasSubstr("\a")));
}

TEST(output, of_a_search_without_a_result_leaves_the_file_as_it_was)
{
    const trox_test::temp_directory directory;
    std::ofstream(directory.file("found.json")) << "before";
    for (const char* const what : {"5", "2012-06-15"}) {
        const std::vector<std::string> find{"find", what, "--catalogue", "catalogue", "--data", "data_2010", "--json"};
        auto into_file = find;
        into_file.insert(into_file.end(), {"-o", directory.file("found.json")});
        EXPECT_EQ(run_trox(into_file).code, 1);
        EXPECT_EQ(text_of(directory.file("found.json")), "before");
        const auto shown = run_trox(find);
        EXPECT_EQ(shown.code, 1);
        EXPECT_EQ(shown.json().at("runs").size(), 0U);
    }
}

// --- bars -------------------------------------------------------------------------------------------------

const std::vector<std::vector<std::string>> lasting_uses{{"info"}, {"list"},  {"list", "files"}, {"show", "--last"},
                                                         {"stat"}, {"cover"}, {"sync"}};

TEST(bar, shows_how_many_files_are_open)
{
    for (auto use : lasting_uses) {
        use.insert(use.end(), {"data_2010", "--json", "--progress", "always"});
        const auto result = run_trox(use);
        EXPECT_EQ(result.code, 0);
        EXPECT_THAT(result.err, HasSubstr("\ropening files  [")) << use.at(0);
        EXPECT_THAT(result.err, EndsWith("\r\033[K")) << use.at(0);
        EXPECT_EQ(result.json().at("schema"), "trox." + use.at(0) + "/1");
    }
}

TEST(bar, shows_the_work_of_each_verb)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> uses{
        {{"info", "data_2010"}, "looking at channels"},
        {{"list", "data_2010"}, "looking at channels"},
        {{"find", "1042", "--catalogue", "catalogue", "--data", "data_2010"}, "looking into files"},
        {{"show", "data_2010", "--last"}, "finding the event"},
        {{"stat", "data_2010"}, "decoding"},
        {{"cover", "data_2010"}, "reading tables"},
        {{"sync", "data_2010"}, "finding events"},
        {{"sync", "data_2010"}, "reading"}};
    for (auto [use, label] : uses) {
        use.insert(use.end(), {"--progress", "always"});
        EXPECT_THAT(run_trox(use).err, HasSubstr("\r" + label + "  [")) << use.at(0);
    }
}

TEST(bar, is_not_shown_without_a_terminal_nor_when_it_is_refused)
{
    for (auto use : lasting_uses) {
        use.emplace_back("data_2010");
        EXPECT_EQ(run_trox(use).err, "") << use.at(0);
        use.insert(use.end(), {"--progress", "never"});
        EXPECT_THAT(trox_test::run_trox_on_terminal(use, 200).out, Not(HasSubstr("opening files"))) << use.at(0);
    }
}

TEST(bar, gives_way_to_diagnostics_on_a_terminal)
{
    const trox_test::temp_directory directory;
    std::ofstream(directory.file("text.raw")) << "this is no data file";
    const auto result = trox_test::run_trox_on_terminal(
        {"list", "files", directory.file("text.raw"), "data_2010", "--progress", "always"}, 200);
    EXPECT_EQ(result.code, 3);
    EXPECT_THAT(result.out, HasSubstr("\r\033[Ktrox: list: "));
}

// --- work -------------------------------------------------------------------------------------------------

TEST(threads_and_memory, change_no_result)
{
    for (const std::vector<std::string>& use : {std::vector<std::string>{"show", "data_2010", "--last", "--json"},
                                                std::vector<std::string>{"sync", "data_2024", "--json"}}) {
        const auto expected = run_trox(use).out;
        for (const std::vector<std::string>& how : {std::vector<std::string>{"--threads", "1"},
                                                    std::vector<std::string>{"--threads", "3", "--memory", "256K"},
                                                    std::vector<std::string>{"--memory", "1G"}}) {
            auto words = use;
            words.insert(words.end(), how.begin(), how.end());
            const auto result = run_trox(words);
            EXPECT_EQ(result.code, 0) << result.err;
            EXPECT_EQ(result.out, expected);
        }
    }
    EXPECT_EQ(run_trox({"stat", "data_2010", "--memory", "1M", "--json"}).code, 0);
}

TEST(threads_and_memory, that_make_no_sense_are_refused)
{
    for (const std::vector<std::string>& use :
         {std::vector<std::string>{"show", "--threads", "-1"}, std::vector<std::string>{"show", "--threads", "2000"},
          std::vector<std::string>{"sync", "--threads", "many"}, std::vector<std::string>{"sync", "--memory", "0"},
          std::vector<std::string>{"stat", "--memory", "lots"}, std::vector<std::string>{"stat", "--threads", "2"}}) {
        auto words = use;
        words.emplace_back("data_2010");
        EXPECT_EQ(run_trox(words).code, 2) << use.at(0) << " " << use.at(1);
    }
}

} // namespace
