// The list of data files: resolving, removing, ordering.
#include "reader_fixture.h"

#include "failing_calls.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace
{

using trox_test::printed_by;

/// A file that has not changed for long, and the directory and name it has.
constexpr const char* old_file = "/usr/bin/env";
constexpr const char* old_directory = "/usr/bin";
constexpr const char* old_name = "env";

using list = std::vector<std::string>;

template <class T> class reader_files : public trox_test::reader_test<T>
{
protected:
    void look_at_close_times()
    {
        this->env.unset("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    }
    list files() const
    {
        list all;
        for (int i = 0; i < this->reader.get_number_of_files(); ++i) {
            all.emplace_back(this->reader.get_file_name(i));
        }
        return all;
    }

    typename T::reader reader;
};
TYPED_TEST_SUITE(reader_files, trox_test::reader_types, trox_test::reader_type_names);

TYPED_TEST(reader_files, name_with_a_directory_is_taken_unchanged)
{
    this->reader.set_data_dir("/d/");
    EXPECT_EQ(this->reader.add_file("/x/y/run.raw", true), 0);
    EXPECT_EQ(this->reader.add_file("rel/run.raw", true), 0);
    EXPECT_EQ(this->files(), (list{"/x/y/run.raw", "rel/run.raw"}));
    EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(reader_files, bare_name_goes_to_the_data_directory)
{
    this->reader.set_data_dir("/d");
    EXPECT_EQ(this->reader.add_file("run.raw", true), 0);
    EXPECT_EQ(this->files(), (list{"/d/run.raw"}));
}

TYPED_TEST(reader_files, file_goes_to_the_end_or_in_front)
{
    this->reader.add_file("/x/b", true);
    this->reader.add_file("/x/c", true);
    this->reader.add_file("/x/a", false);
    EXPECT_EQ(this->files(), (list{"/x/a", "/x/b", "/x/c"}));
}

TYPED_TEST(reader_files, null_or_empty_name_is_invalid)
{
    EXPECT_EQ(this->reader.add_file(nullptr, true), -7);
    EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
    EXPECT_EQ(this->reader.add_file("", true), -7);
    EXPECT_EQ(this->reader.remove_file(static_cast<const char*>(nullptr)), -7);
    EXPECT_EQ(this->reader.remove_file(""), -7);
    EXPECT_EQ(this->reader.remove_file(std::string()), -7);
}

// --- closed files -------------------------------------------------------------------------------------

TYPED_TEST(reader_files, fresh_file_is_skipped_with_a_message_at_any_debug_level)
{
    this->look_at_close_times();
    const std::string fresh = this->dir.touch("fresh.raw");
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file(fresh.c_str(), true), -10); }),
              TypeParam::class_name + "::add_file() file " + fresh + " skipped (not closed)\n");
    EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
    EXPECT_EQ(this->reader.get_number_of_files(), 0);

    this->env.set("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "");
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file(fresh.c_str(), true), 0); }), "");
}

TYPED_TEST(reader_files, fresh_file_in_the_data_directory_is_skipped_too)
{
    this->look_at_close_times();
    this->dir.touch("fresh.raw");
    this->reader.set_data_dir(this->dir.path().c_str());
    this->reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file("fresh.raw", true), -10); }),
              TypeParam::class_name + "::add_file() file " + (this->dir / "fresh.raw") + " not found \n" +
                  TypeParam::class_name + "::add_file() file " + (this->dir / "fresh.raw") + " skipped (not closed)\n");
}

TYPED_TEST(reader_files, old_file_is_taken)
{
    this->look_at_close_times();
    EXPECT_EQ(this->reader.add_file(old_file, true), 0);
    this->reader.set_data_dir(old_directory);
    EXPECT_EQ(this->reader.add_file(old_name, true), 0);
    EXPECT_EQ(this->files(), (list{old_file, old_file}));
}

TYPED_TEST(reader_files, time_of_the_last_write_does_not_count)
{
    this->look_at_close_times();
    const std::string file = this->dir.touch("old_content.raw");
    const timespec long_ago[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), long_ago, 0), 0);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file(file.c_str(), true), -10); }),
              TypeParam::class_name + "::add_file() file " + file + " skipped (not closed)\n");
}

TYPED_TEST(reader_files, absent_file_is_not_found)
{
    this->look_at_close_times();
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file("/no/such.raw", true), -10); }), "");
    EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
    this->reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file("/no/such.raw", true), -10); }),
              TypeParam::class_name + "::add_file() file /no/such.raw not found \n");
    this->reader.set_debug(-1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file("/no/such.raw", true), -10); }), "");
}

// --- path list ----------------------------------------------------------------------------------------

TYPED_TEST(reader_files, path_list_is_searched_in_order_for_a_closed_file)
{
    this->look_at_close_times();
    this->dir.touch(old_name); // fresh, so not taken
    this->reader.set_data_dir("");
    this->reader.set_data_path_list(("/no/such:" + this->dir.path() + ":/usr/bin:/bin").c_str());
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file(old_name, true), 0); }),
              TypeParam::class_name + "::add_file() file " + this->dir.path() + "/env skipped (not closed)\n");
    EXPECT_EQ(this->files(), (list{"/usr/bin/env"}));
}

TYPED_TEST(reader_files, path_list_search_tells_what_it_does_not_take)
{
    this->look_at_close_times();
    this->dir.touch("x.raw");
    this->reader.set_data_dir("");
    this->reader.set_data_path_list(("/no/such:" + this->dir.path()).c_str());
    this->reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file("x.raw", true), -10); }),
              TypeParam::class_name + "::add_file() file /no/such/x.raw not found \n" + TypeParam::class_name +
                  "::add_file() file " + this->dir.path() + "/x.raw not found \n" + TypeParam::class_name +
                  "::add_file() file " + this->dir.path() + "/x.raw skipped (not closed)\n" + TypeParam::class_name +
                  "::add_file() file x.raw not found in any default data path /no/such:" + this->dir.path() + "\n");
    EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
    this->reader.set_debug(-1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file("y.raw", true), -10); }),
              TypeParam::class_name +
                  "::add_file() file y.raw not found in any default data path /no/such:" + this->dir.path() + "\n");
}

TYPED_TEST(reader_files, path_list_without_looking_takes_the_last_directory)
{
    this->reader.set_data_dir("");
    this->reader.set_data_path_list("/a:/b:/c");
    EXPECT_EQ(this->reader.add_file("x.raw", true), 0);
    EXPECT_EQ(this->files(), (list{"/c/x.raw"}));
}

TYPED_TEST(reader_files, data_directory_list_is_searched_before_the_path_list)
{
    this->look_at_close_times();
    this->reader.set_data_path_list("/usr/lib");
    // The setter closes the list with "/", which the list's last ":" makes a part of the next directory.
    this->reader.set_data_dir("/no/such:/usr/bin:");
    EXPECT_EQ(this->reader.add_file(old_name, true), 0);
    EXPECT_EQ(this->files(), (list{"/usr/bin/env"}));
    this->reader.set_data_dir("/no/such:/usr:");
    this->reader.set_data_path_list("/usr/bin");
    EXPECT_EQ(this->reader.add_file(old_name, true), 0);
    EXPECT_EQ(this->files(), (list{"/usr/bin/env", "//usr/bin/env"}));
}

TYPED_TEST(reader_files, data_directory_list_does_not_apply_to_a_name_with_a_directory)
{
    this->reader.set_data_dir("/a:/b:");
    EXPECT_EQ(this->reader.add_file("/x/y.raw", true), 0);
    EXPECT_EQ(this->files(), (list{"/x/y.raw"}));
}

TYPED_TEST(reader_files, empty_directory_ends_the_path_list)
{
    this->look_at_close_times();
    this->reader.set_data_dir("");
    this->reader.set_data_path_list("/no/such::/usr/bin");
    EXPECT_EQ(this->reader.add_file(old_name, true), -10);
    this->reader.set_data_path_list(":");
    EXPECT_EQ(this->reader.add_file(old_name, true), -10);
    this->reader.set_data_path_list("");
    EXPECT_EQ(this->reader.add_file(old_name, true), -10);
}

TYPED_TEST(reader_files, archive_is_searched_last)
{
    this->look_at_close_times();
    const std::string name = "linac_main_run1_file1_20120614T093000.raw";
    this->dir.make_directory("linac");
    this->dir.make_directory("linac/2012");
    const std::string archive = this->dir.make_directory("linac/2012/06");
    this->dir.touch("linac/2012/06/" + name);
    this->env.set("TROX_DAQ_ARCHIVE_ROOT", this->dir.path().substr(0, this->dir.path().size() - 1));
    this->reader.set_data_dir("");
    this->reader.set_data_path_list("/no/such");
    this->reader.set_debug(1);
    const std::string path = archive + name;
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file(name.c_str(), true), -10); }),
              TypeParam::class_name + "::add_file() file /no/such/" + name + " not found \n" + TypeParam::class_name +
                  "::add_file() file " + path + " not found \n" + TypeParam::class_name + "::add_file() file " + path +
                  " skipped (not closed)\n" + TypeParam::class_name + "::add_file() file " + name +
                  " not found in any default data path /no/such:" + archive.substr(0, archive.size() - 1) + "\n");
    this->env.set("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "");
    EXPECT_EQ(this->reader.add_file(name.c_str(), true), 0);
    EXPECT_EQ(this->files(), (list{path}));
}

// --- no memory ----------------------------------------------------------------------------------------

TYPED_TEST(reader_files, without_memory_for_the_name_all_files_are_dropped)
{
    this->reader.add_file("/x/a", true);
    const trox_test::failing_calls system;
    system.allocations.fail(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file("/x/b", true), -6); }),
              TypeParam::class_name + "::add_file() Failed to malloc for file: /x/b\n");
    EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
    EXPECT_EQ(this->reader.get_number_of_files(), 0);
}

TYPED_TEST(reader_files, without_memory_for_a_path_the_files_stay)
{
    this->reader.add_file("/x/a", true);
    this->reader.set_data_dir("");
    this->reader.set_data_path_list("/some/dir");
    const trox_test::failing_calls system;
    system.allocations.fail(2);
    // "/some/dir" and "b.raw", and one.
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.add_file("b.raw", true), -6); }),
              TypeParam::class_name + "::add_file() faile to allocate file buffer of 15 bytes\n");
    EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
    EXPECT_EQ(this->files(), (list{"/x/a"}));
}

// --- removing and ordering ----------------------------------------------------------------------------

TYPED_TEST(reader_files, file_is_removed_once)
{
    this->reader.add_file("/x/a", true);
    this->reader.add_file("/x/b", true);
    EXPECT_EQ(this->reader.remove_file("a"), -10) << "the whole path counts";
    EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
    EXPECT_EQ(this->reader.remove_file("/x/a"), 0);
    EXPECT_STREQ(this->reader.get_last_error(), "OK");
    EXPECT_EQ(this->reader.remove_file(std::string("/x/a")), -10);
    EXPECT_EQ(this->files(), (list{"/x/b"}));
}

TYPED_TEST(reader_files, first_of_equal_files_is_removed)
{
    this->reader.add_file("/x/a", true);
    this->reader.add_file("/x/b", true);
    this->reader.add_file("/x/a", true);
    EXPECT_EQ(this->reader.remove_file("/x/a"), 0);
    EXPECT_EQ(this->files(), (list{"/x/b", "/x/a"}));
}

TYPED_TEST(reader_files, sorting_leaves_each_file_once)
{
    for (const char* name : {"/b", "/a", "/b", "/b"}) {
        this->reader.add_file(name, true);
    }
    this->reader.sort_my_files();
    EXPECT_EQ(this->files(), (list{"/a", "/b"}));
}

TYPED_TEST(reader_files, sorting_goes_by_the_time_in_the_name)
{
    this->reader.add_file("/b/linac_main_run1_file1_20120614T093004.raw", true);
    this->reader.add_file("/c/linac_main_run1_file2_20120614T093000.raw", true);
    this->reader.add_file("/a/plain.raw", true);
    this->reader.sort_my_files();
    EXPECT_EQ(this->files(), (list{"/c/linac_main_run1_file2_20120614T093000.raw",
                                   "/b/linac_main_run1_file1_20120614T093004.raw", "/a/plain.raw"}));
}

} // namespace
