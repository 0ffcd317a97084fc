#include "json_compare.h"

#include <bit>
#include <cstdint>
#include <fstream>
#include <openssl/evp.h>
#include <stdexcept>

namespace trox_golden
{
namespace
{

/// Texts and short lists as they are; the middle of anything long would only hide the difference.
std::string shown(const json& value)
{
    constexpr std::size_t limit = 200;
    std::string text = value.dump();
    if (text.size() > limit) {
        text.replace(limit, std::string::npos, "...");
    }
    return text;
}

bool equal_floats(const json& expected, const json& read)
{
    return std::bit_cast<std::uint32_t>(expected.get<float>()) == std::bit_cast<std::uint32_t>(read.get<float>());
}

bool equal_leaves(const json& expected, const json& read)
{
    if (read.is_number_float() && expected.is_number()) {
        return equal_floats(expected, read);
    }
    return expected == read;
}

class comparison
{
public:
    void compare(const json& expected, const json& read, const std::string& path)
    {
        if (expected.is_object() && read.is_object()) {
            compare_objects(expected, read, path);
        } else if (expected.is_array() && read.is_array()) {
            compare_arrays(expected, read, path);
        } else if (!equal_leaves(expected, read)) {
            found_.push_back(path + ": expected " + shown(expected) + ", read " + shown(read));
        }
    }

    std::vector<std::string> found() &&
    {
        return std::move(found_);
    }

private:
    static std::string below(const std::string& path, const std::string& step)
    {
        return path.empty() ? step : path + "/" + step;
    }

    void compare_objects(const json& expected, const json& read, const std::string& path)
    {
        for (const auto& [key, value] : expected.items()) {
            if (read.contains(key)) {
                compare(value, read.at(key), below(path, key));
            } else {
                found_.push_back(below(path, key) + ": expected " + shown(value) + ", read nothing");
            }
        }
        for (const auto& [key, value] : read.items()) {
            if (!expected.contains(key)) {
                found_.push_back(below(path, key) + ": expected nothing, read " + shown(value));
            }
        }
    }

    void compare_arrays(const json& expected, const json& read, const std::string& path)
    {
        const std::size_t common = std::min(expected.size(), read.size());
        for (std::size_t i = 0; i < common; ++i) {
            compare(expected[i], read[i], below(path, std::to_string(i)));
        }
        if (expected.size() != read.size()) {
            found_.push_back(path + ": expected " + std::to_string(expected.size()) + " elements, read " +
                             std::to_string(read.size()));
        }
    }

    std::vector<std::string> found_;
};

} // namespace

std::vector<std::string> differences(const json& expected, const json& read)
{
    comparison all;
    all.compare(expected, read, "");
    return std::move(all).found();
}

std::string summary(const std::vector<std::string>& differences, std::size_t lines)
{
    std::string text;
    for (std::size_t i = 0; i < differences.size() && i < lines; ++i) {
        text += "  " + differences[i] + "\n";
    }
    if (differences.size() > lines) {
        text += "  ... " + std::to_string(differences.size()) + " differences in all\n";
    }
    return text;
}

json load_json(const std::string& path)
{
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    return json::parse(file);
}

std::string sha256_start(const void* bytes, std::size_t size, std::size_t digits)
{
    unsigned char sum[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(bytes, size, sum, &length, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 failed");
    }
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        text += "0123456789abcdef"[sum[i] >> 4U];
        text += "0123456789abcdef"[sum[i] & 15U];
    }
    return text.substr(0, digits);
}

std::string short_sha(const void* bytes, std::size_t size)
{
    return sha256_start(bytes, size, 12);
}

} // namespace trox_golden
