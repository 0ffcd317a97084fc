#include "bench_files.h"
#include "benchmarks.h"
#include "measure.h"

#include "detail/big_endian.h"
#include "trox_daq_read_chan_2010.h"

#include <atomic>
#include <cstdint>
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

/// Runs `decode(block, out)` over all blocks on both cores, each core into one buffer that it keeps.
template <class Decode> std::function<void()> on_both_cores(const stored_blocks& blocks, Decode decode)
{
    return [&blocks, decode] {
        std::atomic<std::size_t> next{0};
        on_threads(cores, [&](int) {
            std::vector<unsigned char> out(blocks.blocks.front().original);
            for (std::size_t i = next++; i < blocks.blocks.size(); i = next++) {
                decode(blocks.blocks[i], out.data());
                keep(out[0]);
            }
        });
    };
}

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
    std::vector<contestant> contestants{
        {"whole channel", [&] { channel.prepare(); }, [&] { channel.run(); }},
        {"plain copy, both cores", {}, on_both_cores(blocks, plain_copy)},
    };
    if (what.stored == tw::storage::zlib) {
        contestants.push_back({"plain zlib, both cores", {}, on_both_cores(blocks, plain_zlib)});
#ifdef TROX_WITH_LIBDEFLATE
        contestants.push_back({"plain libdeflate, both cores", {}, on_both_cores(blocks, plain_libdeflate)});
#endif
    }
#ifdef TROX_WITH_LZO
    if (what.stored == tw::storage::lzo) {
        contestants.push_back({"plain LZO, both cores", {}, on_both_cores(blocks, plain_lzo)});
    }
#endif
    print_heading(std::string("Whole-channel decode: ") + what.name);
    const auto times = interleaved_medians(contestants, rounds);
    const double bytes = static_cast<double>(blocks.blocks.size() * what.payload);
    for (std::size_t i = 0; i < contestants.size(); ++i) {
        print_time(contestants[i].name, times[i], bytes);
    }
    constexpr double of_zlib = 2.0;
    constexpr double of_libdeflate = 0.8;
    constexpr double of_lzo = 0.8;
    constexpr double of_copy = 0.5;
    switch (what.stored) {
    case tw::storage::zlib:
        print_ratio("speed / plain zlib", times[2] / times[0], at_least(of_zlib));
        if (times.size() > 3) {
            print_ratio("speed / plain libdeflate", times[3] / times[0], at_least(of_libdeflate));
        }
        break;
    case tw::storage::lzo:
        print_ratio("speed / plain LZO", times[2] / times[0], at_least(of_lzo));
        break;
    case tw::storage::plain:
        print_ratio("speed / plain copy", times[1] / times[0], at_least(of_copy));
        break;
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
