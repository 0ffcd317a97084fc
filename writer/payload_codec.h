// Block types as the writer knows them: which are assigned, how short a payload may be, which words are swapped.
#ifndef TROX_WRITER_PAYLOAD_CODEC_H
#define TROX_WRITER_PAYLOAD_CODEC_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace trox::writer
{

bool is_assigned_type(std::int32_t dtype) noexcept;

/// Bytes that every payload of the type begins with; 0 for types without a head that is checked.
std::size_t fixed_head_size(std::int32_t dtype) noexcept;

/// True for update and environment types: readers take their data without looking at the length.
bool needs_payload(std::int32_t dtype) noexcept;

/// A host-order payload (at least its fixed head long, or empty) in file order, into `to`.
void to_file_order(std::int32_t dtype, const unsigned char* from, std::size_t size, std::vector<unsigned char>& to);

} // namespace trox::writer

#endif
