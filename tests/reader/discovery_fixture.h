// A request for files in a directory of the test's own, with a run catalogue.
#ifndef TROX_TEST_DISCOVERY_FIXTURE_H
#define TROX_TEST_DISCOVERY_FIXTURE_H

#include "reader_fixture.h"

namespace trox_test
{

template <class T> class reader_discovery : public reader_test<T>
{
protected:
    reader_discovery() : catalogue(this->dir.make_directory("catalogue")), empty(this->dir.make_directory("empty"))
    {
        copy_name(request.exp_name, "linac");
        copy_name(request.stream_name, "main");
        request.cdir = catalogue;
        request.ddir = this->dir.path();
        request.period = {1, {0, 100000}};
        request.time_diff = {0, 50000};
    }

    static void copy_name(char* field, const char* text)
    {
        std::snprintf(field, 32, "%s", text);
    }
    void set_times(std::uint32_t start_s, std::uint32_t stop_s)
    {
        request.start_time = {0, {start_s, 0}};
        request.stop_time = {0, {stop_s, 0}};
    }
    void set_runs(int first, int last)
    {
        request.run_first = first;
        request.run_last = last;
    }
    /// Base names of the reader's files.
    std::vector<std::string> names() const
    {
        std::vector<std::string> list;
        for (int i = 0; i < reader.get_number_of_files(); ++i) {
            list.push_back(std::filesystem::path(reader.get_file_name(i)).filename());
        }
        return list;
    }
    static std::vector<std::string> run_names(int run, int first, int last)
    {
        std::vector<std::string> list;
        for (int n = first; n <= last; ++n) {
            list.push_back(run_file_name(run, n));
        }
        return list;
    }
    void expect_times(std::uint32_t start_s, std::uint32_t stop_s)
    {
        EXPECT_EQ(reader.get_start_point()->time.timeup, start_s);
        EXPECT_EQ(reader.get_stop_point()->time.timeup, stop_s);
    }

    std::string catalogue;
    std::string empty;
    typename T::request request;
    typename T::reader reader;
};

} // namespace trox_test

#endif
