// Printing the library's texts: formats come from the message tables, and are checked against the arguments
// when the library is compiled.
#ifndef TROX_GENERIC_PRINT_H
#define TROX_GENERIC_PRINT_H

#include <cstddef>
#include <cstdio>
#include <string_view>
#include <type_traits>

namespace trox_detail
{

/// What one printf conversion takes.
enum class argument_kind { none, integer, long_integer, size, real, text };

template <class Argument> constexpr argument_kind kind_of()
{
    using plain = std::decay_t<Argument>;
    if constexpr (std::is_same_v<plain, double>) {
        return argument_kind::real;
    } else if constexpr (std::is_same_v<plain, char*> || std::is_same_v<plain, const char*>) {
        return argument_kind::text;
    } else if constexpr (std::is_integral_v<plain> && sizeof(plain) == sizeof(int)) {
        return argument_kind::integer;
    } else if constexpr (std::is_integral_v<plain> && sizeof(plain) == sizeof(long)) {
        return argument_kind::long_integer;
    } else {
        return argument_kind::none;
    }
}

/// The conversion that follows `position`, which is moved behind it; none at the end.
constexpr argument_kind next_conversion(std::string_view format, std::size_t& position)
{
    position = format.find('%', position);
    if (position == std::string_view::npos) {
        return argument_kind::none;
    }
    const std::size_t end = format.find_first_of("diuxsf", position);
    const std::string_view length = format.substr(position + 1, end - position - 1);
    position = end + 1;
    switch (format[end]) {
    case 's':
        return argument_kind::text;
    case 'f':
        return argument_kind::real;
    default:
        return length == "l"   ? argument_kind::long_integer
               : length == "z" ? argument_kind::size
                               : argument_kind::integer;
    }
}

/// True when a printf format takes exactly these arguments.
template <class... Arguments> constexpr bool format_takes(std::string_view format)
{
    std::size_t position = 0;
    [[maybe_unused]] const auto accepts = [&](argument_kind given) {
        const argument_kind wanted = next_conversion(format, position);
        return wanted == given || (wanted == argument_kind::size && given == argument_kind::long_integer);
    };
    bool all = true;
    ((all = all && accepts(kind_of<Arguments>())), ...);
    return all && next_conversion(format, position) == argument_kind::none;
}

/// Whether this thread prints no texts of the library. Exported for this project's other libraries, which tell their
/// callers in another way.
[[gnu::visibility("default")]] bool messages_are_silenced() noexcept;

/// Silences this thread while it lives.
class [[gnu::visibility("default")]] message_silencer
{
public:
    message_silencer() noexcept;
    ~message_silencer();
    message_silencer(const message_silencer&) = delete;
    message_silencer& operator=(const message_silencer&) = delete;

private:
    bool before_;
};

/// Prints row `Row` of a message table on standard output:
///     print<slicer_texts<Generation>, slicer_message::no_files>();
/// `Table` is a type with `static constexpr const char* text(Message)`. A generation that does not say something has
/// an empty text, and prints nothing.
template <class Table, auto Row, class... Arguments> void print([[maybe_unused]] Arguments... arguments)
{
    if constexpr (!std::string_view(Table::text(Row)).empty()) {
        static_assert(format_takes<Arguments...>(Table::text(Row)), "the text does not take these arguments");
        if (messages_are_silenced()) {
            return;
        }
        if constexpr (sizeof...(Arguments) == 0) {
            std::fputs(Table::text(Row), stdout);
        } else {
            std::printf(Table::text(Row), arguments...);
        }
    }
}

} // namespace trox_detail

#endif
