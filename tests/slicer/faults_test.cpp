// The slicer when memory and threads are not to be had.
#include "captured_output.h"
#include "generic/os_calls.h"
#include "slicer_files.h"

#include <cerrno>

namespace slicer_test
{

/// Makes the n-th malloc of the library fail, counted from 1.
class failing_malloc
{
public:
    explicit failing_malloc(int n) : kept_(trox_detail::os().malloc)
    {
        countdown_ = n;
        trox_detail::os().malloc = [](std::size_t size) -> void* {
            if (--countdown_ == 0) {
                errno = ENOMEM;
                return nullptr;
            }
            return std::malloc(size);
        };
    }
    ~failing_malloc()
    {
        trox_detail::os().malloc = kept_;
    }

private:
    static inline std::atomic<int> countdown_;
    void* (*kept_)(std::size_t);
};

/// What perror makes of a failed malloc.
const std::string no_memory_text = std::string("malloc: ") + std::strerror(ENOMEM) + "\n";

class slicer_faults : public slicer_files
{
protected:
    void SetUp() override
    {
        slicer_files::SetUp();
        add_file("0", {{"A", events(1, 3)}, {"B", events(1, 3)}});
    }
    const channel_list channels{"A", "B"};
    trox_daq_slicer_2010 slicer;
};

TEST_F(slicer_faults, no_memory_for_a_channel_ends_init)
{
    int status = 0;
    const std::string text = printed_by([&] {
        const failing_malloc fails(2);
        status = slicer.init(&files, &channels, 0);
    });
    EXPECT_EQ(status, -6);
    EXPECT_EQ(text, "trox_daq_slicer_2010::init() failed to malloc channel entry for B\n");
    EXPECT_EQ(slicer.start(), -1) << "the lists are empty";
}

TEST_F(slicer_faults, the_name_of_a_channel_without_memory_is_printed_within_its_field)
{
    channel_list longest{"A"};
    std::memset(longest[0].name, 'n', sizeof(longest[0].name)); // not terminated, as the caller may leave it
    std::memset(longest[0].nname, 'x', sizeof(longest[0].nname));
    const std::string text = printed_by([&] {
        const failing_malloc fails(1);
        EXPECT_EQ(slicer.init(&files, &longest, 0), -6);
    });
    EXPECT_EQ(text, "trox_daq_slicer_2010::init() failed to malloc channel entry for " +
                        std::string(sizeof(longest[0].name) - 1, 'n') + "\n");
}

TEST_F(slicer_faults, no_memory_for_the_slots_ends_start)
{
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    int status = 0;
    const auto printed = trox_test::capture([&] {
        const failing_malloc fails(1);
        status = slicer.start();
    });
    EXPECT_EQ(status, -6);
    EXPECT_EQ(printed.out, "Failed to allocate get_tables pointers\n");
    EXPECT_EQ(printed.err, no_memory_text);
    EXPECT_EQ(slicer.start(), 0) << "nothing was begun";
}

TEST_F(slicer_faults, no_memory_for_the_readers_ends_start)
{
    // The slots are the first block; the library itself takes others while it loads the tables.
    bool found = false;
    for (int n = 2; n < 50 && !found; ++n) {
        ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
        int status = 0;
        const auto printed = trox_test::capture([&] {
            const failing_malloc fails(n);
            status = slicer.start();
            slicer.clean_up();
        });
        found = printed.out == "Failed to allocate read_chans pointers\n";
        if (found) {
            EXPECT_EQ(status, -6);
            EXPECT_EQ(printed.err, no_memory_text);
        }
    }
    EXPECT_TRUE(found);
}

TEST_F(slicer_faults, no_thread_ends_start)
{
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    const auto kept = trox_detail::os().pthread_create;
    trox_detail::os().pthread_create = [](pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) {
        return EAGAIN;
    };
    int status = 0;
    const std::string text = printed_by([&] { status = slicer.start(); });
    trox_detail::os().pthread_create = kept;
    EXPECT_EQ(status, -6);
    EXPECT_EQ(text, "failed to start table_thread thread\n");
    EXPECT_EQ(slicer.find_ready_table(files[0]), nullptr) << "and nobody waits for it";
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    EXPECT_EQ(slicer.start(), 0);
}

TEST_F(slicer_faults, the_thread_has_system_contention_scope)
{
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    static int scope;
    static int calls;
    scope = -1;
    calls = 0;
    const auto kept = trox_detail::os().pthread_create;
    trox_detail::os().pthread_create = [](pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                                          void* argument) {
        if (calls++ == 0) {
            ::pthread_attr_getscope(attributes, &scope);
            EXPECT_EQ(entry, get_table_thread_2010);
        }
        return ::pthread_create(thread, attributes, entry, argument);
    };
    EXPECT_EQ(slicer.start(), 0);
    trox_detail::os().pthread_create = kept;
    EXPECT_EQ(scope, PTHREAD_SCOPE_SYSTEM);
}

TEST_F(slicer_faults, a_channel_without_workers_is_dropped_when_bad_records_are_skipped)
{
    slicer.set_skip_bad_records(true);
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    static int calls;
    calls = 0;
    const auto kept = trox_detail::os().pthread_create;
    trox_detail::os().pthread_create = [](pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                                          void* argument) {
        return calls++ == 0 ? ::pthread_create(thread, attributes, entry, argument) : EAGAIN;
    };
    printed_by([&] { EXPECT_EQ(slicer.start(), 0); });
    trox_detail::os().pthread_create = kept;
    EXPECT_STREQ(slicer.get_not_found_channels(), "A;B");
}

} // namespace slicer_test
