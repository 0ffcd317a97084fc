// Finds the patterns of tables and baskets anywhere in a file.
#ifndef TROX_RECOVER_PATTERNS_H
#define TROX_RECOVER_PATTERNS_H

#include "found.h"

#include <optional>
#include <vector>

namespace trox::recovery
{

struct pattern_scan {
    std::vector<pattern_hit> items{};        ///< by position
    std::vector<std::uint64_t> references{}; ///< positions of the pattern of the file reference table
    std::vector<std::uint64_t> events{};     ///< of event headers
    bool is_whole = true;                    ///< false: there were too many to keep
};

/// One pass over the file.
pattern_scan scan_patterns(source_file& file, const file_layout& layout);

/// The same, made when it is first needed: an undamaged file does without.
class patterns
{
public:
    patterns(source_file& file, const file_layout& layout) : file_(file), layout_(layout) {}
    const pattern_scan& get()
    {
        if (!scan_) {
            scan_ = scan_patterns(file_, layout_);
        }
        return *scan_;
    }

private:
    source_file& file_;
    const file_layout& layout_;
    std::optional<pattern_scan> scan_{};
};

/// Tells the generation: by the trailer, by the head of the file, by the patterns of reference tables and event
/// headers. Nothing when they do not agree on one.
std::optional<writer::generation> find_generation(source_file& file);

/// True when the trailer is whole and sends to a file reference table; `position` receives where it lies.
bool read_trailer(source_file& file, const file_layout& layout, std::uint64_t& position);

} // namespace trox::recovery

#endif
