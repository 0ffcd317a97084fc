#include "file_names.h"

#include "event_util.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace trox_evutl
{

namespace
{

constexpr std::string_view extension = ".raw";

bool is_digit(char c) noexcept
{
    return c >= '0' && c <= '9';
}

/// The base name without its extension; empty when it has another one.
std::string_view stem_of(std::string_view path) noexcept
{
    const std::size_t slash = path.rfind('/');
    std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
    if (!name.ends_with(extension)) {
        return {};
    }
    name.remove_suffix(extension.size());
    return name;
}

/// A name's stem up to its last "_", and what follows that.
std::pair<std::string_view, std::string_view> split_last_word(std::string_view stem) noexcept
{
    const std::size_t mark = stem.rfind('_');
    if (mark == std::string_view::npos) {
        return {std::string_view{}, stem};
    }
    return {stem.substr(0, mark), stem.substr(mark + 1)};
}

/// The value of `count` digits at a place in `text`, which is known to hold digits there.
unsigned digits_at(std::string_view text, std::size_t place, std::size_t count) noexcept
{
    unsigned value = 0;
    for (const char digit : text.substr(place, count)) {
        value = value * 10 + static_cast<unsigned>(digit - '0');
    }
    return value;
}

/// Seconds since the epoch of "YYYYMMDDThhmmss" (UTC).
std::optional<std::uint32_t> parse_seconds(std::string_view text) noexcept
{
    constexpr std::string_view shape = "YYYYMMDDThhmmss";
    const auto fits = [](char expected, char given) { return expected == 'T' ? given == 'T' : is_digit(given); };
    if (text.size() != shape.size() || !std::equal(shape.begin(), shape.end(), text.begin(), fits)) {
        return std::nullopt;
    }
    const std::chrono::year_month_day day{std::chrono::year(static_cast<int>(digits_at(text, 0, 4))),
                                          std::chrono::month(digits_at(text, 4, 2)),
                                          std::chrono::day(digits_at(text, 6, 2))};
    const unsigned hour = digits_at(text, 9, 2);
    const unsigned minute = digits_at(text, 11, 2);
    const unsigned second = digits_at(text, 13, 2);
    if (!day.ok() || hour > 23 || minute > 59 || second > 59) {
        return std::nullopt;
    }
    const std::chrono::sys_seconds time = std::chrono::sys_days(day) + std::chrono::hours(hour) +
                                          std::chrono::minutes(minute) + std::chrono::seconds(second);
    const auto seconds = time.time_since_epoch().count();
    if (seconds < 0 || seconds > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(seconds);
}

/// Microseconds of a decimal fraction of 1 to 6 digits.
std::optional<std::uint32_t> parse_fraction(std::string_view digits) noexcept
{
    constexpr std::size_t most = 6;
    if (digits.empty() || digits.size() > most || !std::all_of(digits.begin(), digits.end(), is_digit)) {
        return std::nullopt;
    }
    std::uint32_t value = digits_at(digits, 0, digits.size());
    for (std::size_t i = digits.size(); i < most; ++i) {
        value *= 10;
    }
    return value;
}

} // namespace

std::optional<time_stamp> time_from_name(std::string_view path) noexcept
{
    const std::string_view word = split_last_word(stem_of(path)).second;
    const std::size_t point = word.find('.');
    const auto seconds = parse_seconds(word.substr(0, point));
    if (!seconds) {
        return std::nullopt;
    }
    if (point == std::string_view::npos) {
        return time_stamp{*seconds, 0};
    }
    const auto fraction = parse_fraction(word.substr(point + 1));
    if (!fraction) {
        return std::nullopt;
    }
    return time_stamp{*seconds, *fraction};
}

std::uint64_t file_number_from_name(std::string_view path) noexcept
{
    constexpr std::string_view mark = "file";
    std::string_view word = split_last_word(split_last_word(stem_of(path)).first).second;
    if (!word.starts_with(mark)) {
        return 0;
    }
    word.remove_prefix(mark.size());
    std::uint64_t number = 0;
    const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc{} && stop == word.data() + word.size() ? number : 0;
}

namespace
{

/// A path with what it is sorted by, taken from the name once.
struct sortable_file {
    std::string path;
    bool is_timeless;
    time_stamp time;
    std::uint64_t number;

    explicit sortable_file(std::string&& from) noexcept : path(std::move(from))
    {
        const auto found = time_from_name(path);
        is_timeless = !found;
        time = found.value_or(time_stamp{0, 0});
        number = found ? file_number_from_name(path) : 0;
    }

    bool operator<(const sortable_file& other) const noexcept
    {
        const auto key = [](const sortable_file& file) {
            return std::tie(file.is_timeless, file.time.timeup, file.time.timelow, file.number, file.path);
        };
        return key(*this) < key(other);
    }
};

} // namespace

} // namespace trox_evutl

int get_time_from_file_name(const char* name, time_stamp* time)
{
    if (name == nullptr || time == nullptr) {
        return TROX_EVUTL_INV_PARAM;
    }
    const auto found = trox_evutl::time_from_name(name);
    if (!found) {
        return TROX_EVUTL_DOES_NOT_FIT;
    }
    *time = *found;
    return TROX_EVUTL_OK;
}

void sort_files(std::vector<std::string>& files)
{
    try {
        std::vector<trox_evutl::sortable_file> sortable;
        sortable.reserve(files.size()); // the only allocation: from here on strings are moved
        for (std::string& file : files) {
            sortable.emplace_back(std::move(file));
        }
        std::sort(sortable.begin(), sortable.end());
        for (std::size_t i = 0; i < files.size(); ++i) {
            files[i] = std::move(sortable[i].path);
        }
    } catch (...) {
        // Out of memory: the files stay as they are.
    }
}
