// What a large file costs: memory, descriptors.
#include "scenario.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

using namespace writer_test;

namespace
{

std::size_t peak_kib()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::size_t>(usage.ru_maxrss);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool is_sanitized = true; // its shadow and quarantine are not the library's memory
#else
constexpr bool is_sanitized = false;
#endif

// 300 channels x 256 events x 4 KiB, the sizes uneven.
std::uint64_t write_large(const std::string& path, const tw::layout_options& layout)
{
    tw::file_options options;
    options.layout = layout;
    options.replace_existing = true;
    tw::file_writer file(path, tw::generation::v2010, options);
    constexpr std::uint32_t channels = 300;
    for (std::uint32_t i = 0; i < channels; ++i) {
        file.add_channel("TEST.CHANNEL/" + std::to_string(i));
    }
    const std::vector<unsigned char> bytes(8000, 7);
    for (std::uint32_t event = 0; event < 256; ++event) {
        file.begin_event({event, {event, 0}});
        file.begin_server_block({"S"});
        for (std::uint32_t i = 0; i < channels; ++i) {
            const std::size_t size = 100 + (event * 31 + i * 97) % 7900;
            file.add_record(tw::channel_id{i}, tw::record{9, {bytes.data(), size}, 0, tw::byte_order::file, {}});
        }
        file.end_event();
    }
    return file.finish().file_size;
}

TEST(large_files, of_300_channels_and_300_mib_are_written_in_little_memory_and_few_descriptors)
{
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = 16;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    scratch_directory directory;
    tw::layout_options scattered;
    scattered.records = tw::arrangement::shuffled;
    scattered.max_gap = 3;
    const auto before = peak_kib();
    EXPECT_GT(write_large(directory.path("a.raw"), {}), std::uint64_t{300} << 20);
    EXPECT_GT(write_large(directory.path("a.raw"), scattered), std::uint64_t{300} << 20);
    const auto grown = peak_kib() - before;
    RecordProperty("peak_growth_kib", static_cast<int>(grown));
    if (!is_sanitized) {
        EXPECT_LT(grown, std::size_t{32} << 10);
    }
}

} // namespace
