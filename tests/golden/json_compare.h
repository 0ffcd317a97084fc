// Comparing what was read with what must be read.
#ifndef TROX_GOLDEN_JSON_COMPARE_H
#define TROX_GOLDEN_JSON_COMPARE_H

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace trox_golden
{

using json = nlohmann::json;

/// The differences of two trees, one line each, of the kind "channels/3/records/7/sha: expected ..., read ...".
/// A number that was read as a floating-point value must be the same 32-bit float, sign of zero included; all
/// else must be equal. A member that only one side has is a difference.
std::vector<std::string> differences(const json& expected, const json& read);

/// The first differences as text, and how many there are; empty without any.
std::string summary(const std::vector<std::string>& differences, std::size_t lines = 20);

/// Reads a JSON file; throws std::runtime_error when there is none.
json load_json(const std::string& path);

/// The first `digits` hexadecimal digits of the SHA-256 of some bytes.
std::string sha256_start(const void* bytes, std::size_t size, std::size_t digits);

/// What `out`, `memb` and the delivered records carry as `sha`.
std::string short_sha(const void* bytes, std::size_t size);

} // namespace trox_golden

#endif
