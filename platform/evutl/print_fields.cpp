#include "print_fields.h"

#include "detail/big_endian.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cinttypes>
#include <cstdio>

namespace trox_evutl
{

namespace
{

void put(std::string_view text) noexcept
{
    std::fwrite(text.data(), 1, text.size(), stdout);
}

/// The shortest decimal number that reads back as the same value.
template <class Number> void put_number(Number value) noexcept
{
    std::array<char, 64> digits{};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    put({digits.data(), static_cast<std::size_t>(end - digits.data())});
    static_cast<void>(error); // 64 characters hold every number
}

template <class Number> void put_numbers(const void* values, std::size_t count) noexcept
{
    const auto* at = static_cast<const unsigned char*>(values);
    for (std::size_t i = 0; i < count; ++i, at += sizeof(Number)) {
        put(i == 0 ? "" : " ");
        put_number(trox_detail::load_record<Number>(at));
    }
    put("\n");
}

} // namespace

field_printer field_printer::element(std::string_view name, std::size_t index) const noexcept
{
    field_printer inner;
    const int written =
        std::snprintf(inner.prefix_.data(), inner.prefix_.size(), "%.*s%.*s[%zu].", static_cast<int>(prefix_size_),
                      prefix_.data(), static_cast<int>(name.size()), name.data(), index);
    inner.prefix_size_ = std::min(static_cast<std::size_t>(std::max(written, 0)), inner.prefix_.size() - 1);
    return inner;
}

void field_printer::begin(std::string_view name) const noexcept
{
    put({prefix_.data(), prefix_size_});
    put(name);
    put(": ");
}

void field_printer::number(std::string_view name, std::int64_t value) const noexcept
{
    begin(name);
    put_number(value);
    put("\n");
}

void field_printer::number(std::string_view name, std::uint64_t value) const noexcept
{
    begin(name);
    put_number(value);
    put("\n");
}

void field_printer::mask(std::string_view name, std::uint64_t value) const noexcept
{
    begin(name);
    std::printf("0x%" PRIx64 "\n", value);
}

void field_printer::real(std::string_view name, float value) const noexcept
{
    begin(name);
    put_number(value);
    put("\n");
}

void field_printer::time(std::string_view name, time_stamp value) const noexcept
{
    using namespace std::chrono;
    const sys_seconds moment{seconds{value.timeup}};
    const sys_days day = floor<days>(moment);
    const year_month_day date{day};
    const hh_mm_ss clock{moment - day};
    begin(name);
    std::printf("%04d-%02u-%02u %02d:%02d:%02d.%06" PRIu32 " UTC\n", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()), value.timelow);
}

void field_printer::text(std::string_view name, std::string_view value) const noexcept
{
    begin(name);
    for (const char c : value) {
        const bool is_printable = c >= ' ' && c <= '~';
        std::putchar(is_printable ? c : '?');
    }
    put("\n");
}

void field_printer::reals(std::string_view name, const void* values, std::size_t count) const noexcept
{
    begin(name);
    put_numbers<float>(values, count);
}

void field_printer::integers(std::string_view name, const void* values, std::size_t count) const noexcept
{
    begin(name);
    put_numbers<std::int32_t>(values, count);
}

} // namespace trox_evutl
