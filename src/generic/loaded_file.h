// What a table loader holds of one file, shared with the channel readers of that file.
#ifndef TROX_GENERIC_LOADED_FILE_H
#define TROX_GENERIC_LOADED_FILE_H

#include "generic/basket_memory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>

namespace trox_detail
{

struct free_block {
    void operator()(void* block) const noexcept
    {
        std::free(block);
    }
};

/// A malloc'd block.
template <class T> using malloc_ptr = std::unique_ptr<T, free_block>;

/// Descriptor, tables and event baskets of one file. Unchanged once it is loaded, but for `debug`.
template <class Generation> struct loaded_file {
    loaded_file() = default;
    loaded_file(const loaded_file&) = delete;
    loaded_file& operator=(const loaded_file&) = delete;
    ~loaded_file()
    {
        if (fd >= 0) {
            ::close(fd);
        }
    }

    std::string name;
    int fd = -1;
    std::int64_t length = 0;
    bool baskets_copied = false;
    basket_memory event_headers;
    basket_memory server_blocks;
    malloc_ptr<typename Generation::file_reference_table> ref_tbl;
    malloc_ptr<typename Generation::event_index_table> eit_tab;
    malloc_ptr<typename Generation::chan_dictionary_table> cdt_tab;
    malloc_ptr<typename Generation::chan_pointers_table> ecp_tab;
    malloc_ptr<typename Generation::env_dictionary_table> eidt_tab;
    malloc_ptr<typename Generation::xml_descr_header> xcd_tab;
    std::uint64_t ecp_columns = 0; ///< columns that the pointers table really has
    std::atomic<int> debug{0};
};

} // namespace trox_detail

#endif
