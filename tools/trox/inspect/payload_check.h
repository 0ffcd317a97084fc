// Does a payload have the length that its block type and its heads announce?
#ifndef TROX_INSPECT_PAYLOAD_CHECK_H
#define TROX_INSPECT_PAYLOAD_CHECK_H

#include "file_format.h"
#include "findings.h"
#include "stream_check.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trox::inspect
{

/// How a block type's payload begins.
enum class payload_family {
    unassigned,
    update,
    update_2010,
    environment,
    image,
    extended_image,
    name_value,
    control_value,
    spectrum,
    region, ///< then a spectrum
    words
};
payload_family family_of(int dtype) noexcept;

/// Bytes that a payload has at least, unless it is empty.
std::uint64_t least_payload(payload_family family) noexcept;

struct payload_fault {
    finding_code code;
    std::string found;
    std::string expected;
    std::uint64_t more = 0; ///< bytes behind what is announced
};

/// Bytes that the heads of a payload announce, heads included; nothing for negative counts and for what no memory
/// can hold.
template <class Spectrum>
std::optional<std::uint64_t> announced_bytes(payload_family family, const payload_head& head) noexcept;

/// Looks at a payload of `size` bytes that begins with `head`, in file order; empty when it is sound. `Spectrum` is
/// the spectrum head of the file's generation.
template <class Spectrum>
std::vector<payload_fault> check_payload(int dtype, const payload_head& head, std::uint64_t size);

} // namespace trox::inspect

#endif
