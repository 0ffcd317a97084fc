#include "bench_files.h"
#include "benchmarks.h"
#include "measure.h"

#include "detail/big_endian.h"
#include "trox_daq_read_chan_2010.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <zlib.h>

#ifdef TROX_WITH_LIBDEFLATE
#include <libdeflate.h>
#endif
#ifdef TROX_WITH_LZO
#include <lzo/lzo1x.h>
#endif

namespace tw = trox::writer;

namespace bench
{

namespace
{

constexpr int cores = 2;
constexpr std::size_t set_bytes = std::size_t{64} << 20; // of payload in each file

/// One stored payload in memory.
struct stored_block {
    const unsigned char* bytes;
    std::size_t length;
    std::size_t original;
};

/// The stored payloads of a file's first channel, for the plain contestants.
struct stored_blocks {
    std::vector<unsigned char> file;
    std::vector<stored_block> blocks;
};

stored_blocks load_blocks(const std::string& path, trox_file_get_tables_2010& tables)
{
    using trox_detail::load_big_endian;
    stored_blocks result;
    std::ifstream in(path, std::ios::binary);
    result.file.assign(std::istreambuf_iterator<char>(in), {});
    const auto* dictionary = tables.get_cdt_table();
    const auto* rows = tables.get_ecp_table()->entries;
    for (int i = 0; i < dictionary->entries[0].count; ++i) {
        const unsigned char* head = result.file.data() + rows[i].chhd;
        const auto error = load_big_endian<std::uint32_t>(head + offsetof(trox_serv_block_subhead_2010, error));
        const auto ldata = load_big_endian<std::uint32_t>(head + offsetof(trox_serv_block_subhead_2010, ldata));
        const unsigned char* data = head + sizeof(trox_serv_block_subhead_2010);
        std::size_t length = ldata - sizeof(trox_serv_block_subhead_2010);
        std::size_t original = length;
        if ((error & TROX_CHAN_ZIP_FLAG) != 0) {
            original = load_big_endian<std::uint32_t>(data + offsetof(trox_zip_header, orig_length));
            length = load_big_endian<std::uint32_t>(data + offsetof(trox_zip_header, zipp_length));
            data += sizeof(trox_zip_header);
        }
        result.blocks.push_back({data, length, original});
    }
    return result;
}

/// Runs a plain decoder over all blocks on both cores, each block into a malloc'd block of its own that is kept: as
/// a reader must, which hands its records out. What was kept goes outside the clock.
class plain_pass
{
public:
    using decoder = void (*)(const stored_block& block, unsigned char* out);

    plain_pass(const stored_blocks& blocks, decoder decode)
        : blocks_(blocks), decode_(decode), kept_(blocks.blocks.size())
    {
    }

    contestant into_kept_memory(const std::string& name)
    {
        return {name + ", both cores", [this] { release(); }, [this] { run(); }};
    }
    /// The same into one buffer per core, which stays in the cache.
    contestant into_one_buffer(const std::string& name)
    {
        return {name + ", both cores, one buffer", [this] { release(); }, [this] { run_into_buffer(); }};
    }

private:
    struct release_block {
        void operator()(unsigned char* block) const
        {
            std::free(block);
        }
    };

    void release()
    {
        for (auto& block : kept_) {
            block.reset();
        }
    }
    void run()
    {
        std::atomic<std::size_t> next{0};
        on_threads(cores, [&](int) {
            for (std::size_t i = next++; i < kept_.size(); i = next++) {
                kept_[i].reset(static_cast<unsigned char*>(std::malloc(blocks_.blocks[i].original)));
                decode_(blocks_.blocks[i], kept_[i].get());
            }
        });
    }
    void run_into_buffer()
    {
        std::atomic<std::size_t> next{0};
        on_threads(cores, [&](int) {
            std::vector<unsigned char> out(blocks_.blocks.front().original);
            for (std::size_t i = next++; i < kept_.size(); i = next++) {
                decode_(blocks_.blocks[i], out.data());
                keep(out[0]);
            }
        });
    }

    const stored_blocks& blocks_;
    decoder decode_;
    std::vector<std::unique_ptr<unsigned char, release_block>> kept_;
};

void plain_zlib(const stored_block& block, unsigned char* out)
{
    uLongf length = block.original;
    if (::uncompress(out, &length, block.bytes, block.length) != Z_OK) {
        throw std::runtime_error("zlib refuses a block");
    }
}

#ifdef TROX_WITH_LIBDEFLATE
void plain_libdeflate(const stored_block& block, unsigned char* out)
{
    thread_local const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> decompressor(
        libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    if (libdeflate_zlib_decompress(decompressor.get(), block.bytes, block.length, out, block.original, nullptr) !=
        LIBDEFLATE_SUCCESS) {
        throw std::runtime_error("libdeflate refuses a block");
    }
}
#endif

#ifdef TROX_WITH_LZO
void plain_lzo(const stored_block& block, unsigned char* out)
{
    lzo_uint length = block.original;
    if (lzo1x_decompress_safe(block.bytes, block.length, out, &length, nullptr) != LZO_E_OK) {
        throw std::runtime_error("LZO refuses a block");
    }
}
#endif

void plain_copy(const stored_block& block, unsigned char* out)
{
    std::memcpy(out, block.bytes, block.length);
}

/// A channel reader that decodes the whole channel in `run`; what it decoded goes in the next `prepare`.
class channel_decode
{
public:
    explicit channel_decode(trox_file_get_tables_2010& tables) : tables_(tables) {}

    void prepare()
    {
        reader_ = std::make_unique<trox_daq_read_chan_2010>(&tables_, channel_name(0).c_str(), -1, nullptr);
    }
    void run()
    {
        pthread_mutex_t* mutex = nullptr;
        pthread_cond_t* cond = nullptr;
        int* flag = nullptr;
        if (reader_->start(&mutex, &cond, &flag) != 0) {
            throw std::runtime_error("a channel does not start");
        }
        ::pthread_mutex_lock(mutex);
        while (*flag == 0) {
            ::pthread_cond_wait(cond, mutex);
        }
        ::pthread_mutex_unlock(mutex);
    }

private:
    trox_file_get_tables_2010& tables_;
    std::unique_ptr<trox_daq_read_chan_2010> reader_;
};

/// Calls `add(name, decoder, goal)` for the limits of a way of storing.
template <class Add> void add_limits(tw::storage stored, Add add)
{
    constexpr double of_zlib = 2.0;
    constexpr double of_others = 0.8;
    constexpr double of_copy = 0.5;
    switch (stored) {
    case tw::storage::zlib:
        add("plain zlib", plain_zlib, at_least(of_zlib));
#ifdef TROX_WITH_LIBDEFLATE
        add("plain libdeflate", plain_libdeflate, at_least(of_others));
#endif
        break;
    case tw::storage::lzo:
#ifdef TROX_WITH_LZO
        add("plain LZO", plain_lzo, at_least(of_others));
#endif
        break;
    case tw::storage::plain:
        add("plain copy", plain_copy, at_least(of_copy));
        break;
    }
}

struct decode_case {
    const char* name;
    std::size_t payload;
    tw::storage stored;
    bool images;
};

void decode_one(const decode_case& what, const scratch_directory& directory, int rounds)
{
    const std::string path = directory.file("decode.raw");
    write_file(path, {1, set_bytes / what.payload, what.payload, what.stored, what.images});
    trox_file_get_tables_2010 tables(0);
    if (tables.get_all_tables(path, 0, nullptr) != 0) {
        throw std::runtime_error("the tables of " + path + " do not load");
    }
    const stored_blocks blocks = load_blocks(path, tables);
    channel_decode channel(tables);
    std::vector<contestant> contestants{{"whole channel", [&] { channel.prepare(); }, [&] { channel.run(); }}};
    std::vector<goal> goals{{}};
    std::vector<std::unique_ptr<plain_pass>> passes;
    const auto add = [&](const char* name, plain_pass::decoder decode, goal wanted) {
        passes.push_back(std::make_unique<plain_pass>(blocks, decode));
        contestants.push_back(passes.back()->into_kept_memory(name));
        goals.push_back(wanted);
    };
    add_limits(what.stored, add);
    if (what.stored == tw::storage::plain) {
        contestants.push_back(passes.back()->into_one_buffer("plain copy"));
        goals.emplace_back();
    }
    print_heading(std::string("Whole-channel decode: ") + what.name);
    const auto times = interleaved_medians(contestants, rounds);
    const double bytes = static_cast<double>(blocks.blocks.size() * what.payload);
    for (std::size_t i = 0; i < contestants.size(); ++i) {
        print_time(contestants[i].name, times[i], bytes);
    }
    for (std::size_t i = 1; i < contestants.size(); ++i) {
        print_ratio("speed / " + contestants[i].name, times[i] / times[0], goals[i]);
    }
}

} // namespace

void decode_channels(int rounds)
{
    constexpr std::size_t kib = 1024;
    const decode_case cases[] = {
        {"zlib, float traces of 16 KiB", 16 * kib, tw::storage::zlib, false},
        {"zlib, float traces of 64 KiB", 64 * kib, tw::storage::zlib, false},
        {"zlib, images of 1 MiB", kib * kib, tw::storage::zlib, true},
        {"LZO, float traces of 16 KiB", 16 * kib, tw::storage::lzo, false},
        {"LZO, float traces of 64 KiB", 64 * kib, tw::storage::lzo, false},
        {"LZO, images of 1 MiB", kib * kib, tw::storage::lzo, true},
        {"plain, float traces of 16 KiB", 16 * kib, tw::storage::plain, false},
        {"plain, float traces of 64 KiB", 64 * kib, tw::storage::plain, false},
        {"plain, images of 1 MiB", kib * kib, tw::storage::plain, true},
    };
    for (const decode_case& what : cases) {
        if (what.stored == tw::storage::lzo && !tw::has_lzo()) {
            continue;
        }
        const scratch_directory directory;
        decode_one(what, directory, rounds);
    }
}

} // namespace bench
