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

template <class T> class slicer_faults : public slicer_files<T>
{
protected:
    void SetUp() override
    {
        slicer_files<T>::SetUp();
        this->add_file("0", {{"A", events(1, 3)}, {"B", events(1, 3)}});
    }
    const channel_list<T> channels{"A", "B"};
    slicer_of<T> slicer;
};
TYPED_TEST_SUITE(slicer_faults, slicer_generations, slicer_generation_names);
using legacy_slicer_faults = slicer_faults<trox_test::slicer_legacy>;

/// What a slicer prints when it has no memory for a channel's record.
template <class T> std::string no_channel_memory(const std::string& channel)
{
    return std::string(T::class_name_without_memory) + "::init() failed to malloc channel entry for " + channel + "\n";
}

TYPED_TEST(slicer_faults, no_memory_for_a_channel_ends_init)
{
    int status = 0;
    const std::string text = printed_by([&] {
        const failing_malloc fails(2);
        status = init(this->slicer, this->files, this->channels);
    });
    EXPECT_EQ(status, -6);
    EXPECT_EQ(text, no_channel_memory<TypeParam>("B"));
    EXPECT_EQ(this->slicer.start(), -1) << "the lists are empty";
}

TYPED_TEST(slicer_faults, the_name_of_a_channel_without_memory_is_printed_within_its_field)
{
    channel_list<TypeParam> longest{"A"};
    std::memset(longest[0].name, 'n', sizeof(longest[0].name)); // not terminated, as the caller may leave it
    std::memset(longest[0].nname, 'x', sizeof(longest[0].nname));
    const std::string text = printed_by([&] {
        const failing_malloc fails(1);
        EXPECT_EQ(init(this->slicer, this->files, longest), -6);
    });
    EXPECT_EQ(text, no_channel_memory<TypeParam>(std::string(TypeParam::name_size - 1, 'n')));
}

TYPED_TEST(slicer_faults, no_memory_for_a_channel_ends_init_with_either_list_of_files)
{
    const std::vector<char*> names{this->files[0].data()};
    // The legacy slicer takes a block for the name before those of the channels.
    const int first_channel = std::is_same_v<TypeParam, trox_test::slicer_legacy> ? 2 : 1;
    const std::string text = printed_by([&] {
        const failing_malloc fails(first_channel);
        EXPECT_EQ(init(this->slicer, names, this->channels), -6);
    });
    EXPECT_EQ(text, no_channel_memory<TypeParam>("A"));
}

TEST_F(legacy_slicer_faults, no_memory_for_a_name_ends_init)
{
    std::string second = "/data/second.raw";
    const std::vector<char*> names{files[0].data(), nullptr, second.data()};
    int status = 0;
    const std::string text = printed_by([&] {
        const failing_malloc fails(2);
        status = slicer.init(names, &channels, 0);
    });
    EXPECT_EQ(status, -6);
    EXPECT_EQ(text, "trox_daq_slicer::init() failed to malloc 17 bytes for a file name /data/second.raw\n");
    EXPECT_EQ(slicer.start(), -1) << "the lists are empty";
    ASSERT_EQ(slicer.init(files, &channels, 0), 0);
    EXPECT_EQ(slicer.start(), 0);
}

TYPED_TEST(slicer_faults, parameter_records_are_copied_whole)
{
    constexpr std::size_t size = TypeParam::param_size;
    ASSERT_EQ(sizeof(typename TypeParam::chan_param), size);
    std::vector<unsigned char> bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<unsigned char>(1 + i % 251);
    }
    bytes[TypeParam::name_size - 1] = 0; // both names end within their fields
    bytes[2 * TypeParam::name_size - 1] = 0;
    channel_list<TypeParam> one{"A"};
    std::memcpy(static_cast<void*>(&one[0]), bytes.data(), size);

    static std::vector<std::pair<std::size_t, void*>> blocks;
    blocks.clear();
    const auto kept = trox_detail::os().malloc;
    trox_detail::os().malloc = [](std::size_t wanted) {
        return blocks.emplace_back(wanted, std::malloc(wanted)).second;
    };
    EXPECT_EQ(init(this->slicer, this->files, one), 0);
    trox_detail::os().malloc = kept;
    std::memset(static_cast<void*>(&one[0]), 0, size); // the copy is the slicer's own
    ASSERT_EQ(blocks.size(), 1U);
    EXPECT_EQ(blocks[0].first, size);
    EXPECT_EQ(std::memcmp(blocks[0].second, bytes.data(), size), 0);
}

TYPED_TEST(slicer_faults, no_memory_for_the_slots_ends_start)
{
    ASSERT_EQ(init(this->slicer, this->files, this->channels), 0);
    int status = 0;
    const auto printed = trox_test::capture([&] {
        const failing_malloc fails(1);
        status = this->slicer.start();
    });
    EXPECT_EQ(status, -6);
    EXPECT_EQ(printed.out, "Failed to allocate get_tables pointers\n");
    EXPECT_EQ(printed.err, no_memory_text);
    EXPECT_EQ(this->slicer.start(), 0) << "nothing was begun";
}

TYPED_TEST(slicer_faults, no_memory_for_the_readers_ends_start)
{
    // The slots are the first block; the library itself takes others while it loads the tables.
    bool found = false;
    for (int n = 2; n < 50 && !found; ++n) {
        ASSERT_EQ(init(this->slicer, this->files, this->channels), 0);
        int status = 0;
        const auto printed = trox_test::capture([&] {
            const failing_malloc fails(n);
            status = this->slicer.start();
            this->slicer.clean_up();
        });
        found = printed.out == "Failed to allocate read_chans pointers\n";
        if (found) {
            EXPECT_EQ(status, -6);
            EXPECT_EQ(printed.err, no_memory_text);
        }
    }
    EXPECT_TRUE(found);
}

TYPED_TEST(slicer_faults, no_thread_ends_start)
{
    ASSERT_EQ(init(this->slicer, this->files, this->channels), 0);
    const auto kept = trox_detail::os().pthread_create;
    trox_detail::os().pthread_create = [](pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) {
        return EAGAIN;
    };
    int status = 0;
    const std::string text = printed_by([&] { status = this->slicer.start(); });
    trox_detail::os().pthread_create = kept;
    EXPECT_EQ(status, -6);
    EXPECT_EQ(text, "failed to start table_thread thread\n");
    EXPECT_EQ(this->slicer.find_ready_table(this->files[0].c_str()), nullptr) << "and nobody waits for it";
    ASSERT_EQ(init(this->slicer, this->files, this->channels), 0);
    EXPECT_EQ(this->slicer.start(), 0);
}

TYPED_TEST(slicer_faults, a_thread_that_cannot_be_joined_is_told_and_joined_later)
{
    static std::vector<pthread_t> joined;
    joined.clear();
    const auto kept = trox_detail::os().pthread_join;
    // The first call does its work, so that the thread is gone, but does not say so; the second has none left.
    trox_detail::os().pthread_join = [](pthread_t thread, void**) {
        joined.push_back(thread);
        return joined.size() == 1 ? (::pthread_join(thread, nullptr), EDEADLK) : 0;
    };
    EXPECT_EQ(init(this->slicer, this->files, this->channels), 0);
    EXPECT_EQ(this->slicer.start(), 0);
    this->slicer.set_debug(1);
    const std::string text = printed_by([&] { this->slicer.clean_up(); });
    EXPECT_EQ(joined.size(), 1U);
    const std::string again = printed_by([&] { this->slicer.clean_up(); });
    printed_by([&] { this->slicer.clean_up(); });
    trox_detail::os().pthread_join = kept;
    ASSERT_EQ(joined.size(), 2U) << "the handle is kept until it is joined, and not longer";
    EXPECT_EQ(joined[0], joined[1]);
    EXPECT_THAT(text, testing::StartsWith("Failed to join table_thread: " +
                                          std::to_string(static_cast<unsigned long>(joined[0])) + "\n"));
    EXPECT_EQ(again, TypeParam::has_life_cycle_traces ? "THREAD joined table_thread: \n" : "");
}

TYPED_TEST(slicer_faults, a_thread_that_cannot_be_joined_is_not_told_without_debugging)
{
    const auto kept = trox_detail::os().pthread_join;
    trox_detail::os().pthread_join = [](pthread_t thread, void**) {
        static bool is_over;
        return std::exchange(is_over, !is_over) ? 0 : (::pthread_join(thread, nullptr), EDEADLK);
    };
    EXPECT_EQ(init(this->slicer, this->files, this->channels), 0);
    EXPECT_EQ(this->slicer.start(), 0);
    EXPECT_EQ(printed_by([&] { this->slicer.clean_up(); }), "");
    EXPECT_EQ(printed_by([&] { this->slicer.clean_up(); }), "");
    trox_detail::os().pthread_join = kept;
}

TYPED_TEST(slicer_faults, the_thread_has_system_contention_scope)
{
    ASSERT_EQ(init(this->slicer, this->files, this->channels), 0);
    static int scope;
    static int calls;
    scope = -1;
    calls = 0;
    const auto kept = trox_detail::os().pthread_create;
    trox_detail::os().pthread_create = [](pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                                          void* argument) {
        if (calls++ == 0) {
            ::pthread_attr_getscope(attributes, &scope);
            EXPECT_EQ(entry, TypeParam::run_thread);
        }
        return ::pthread_create(thread, attributes, entry, argument);
    };
    EXPECT_EQ(this->slicer.start(), 0);
    trox_detail::os().pthread_create = kept;
    EXPECT_EQ(scope, PTHREAD_SCOPE_SYSTEM);
}

TYPED_TEST(slicer_faults, a_channel_without_workers_is_dropped_when_bad_records_are_skipped)
{
    this->slicer.set_skip_bad_records(true);
    ASSERT_EQ(init(this->slicer, this->files, this->channels), 0);
    static int calls;
    calls = 0;
    const auto kept = trox_detail::os().pthread_create;
    trox_detail::os().pthread_create = [](pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                                          void* argument) {
        return calls++ == 0 ? ::pthread_create(thread, attributes, entry, argument) : EAGAIN;
    };
    printed_by([&] { EXPECT_EQ(this->slicer.start(), 0); });
    trox_detail::os().pthread_create = kept;
    EXPECT_STREQ(this->slicer.get_not_found_channels(), "A;B");
}

} // namespace slicer_test
