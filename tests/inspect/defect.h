// What a defect is, and where in the checked file it can be made.
#ifndef TROX_TESTS_INSPECT_DEFECT_H
#define TROX_TESTS_INSPECT_DEFECT_H

#include "checked_file.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <type_traits>

namespace inspect_test
{

using ti::finding_code;
using ti::item_kind;

struct expected_finding {
    finding_code code;
    std::uint64_t count = 1;
    std::optional<std::uint64_t> offset{}; ///< of the first one
    std::string channel{};
    std::optional<std::uint64_t> event{};
    std::optional<std::uint64_t> record{};
};

template <class T> struct defect {
    const char* name;
    std::function<void(trox_test::data_file<T>&)> damage;
    std::function<std::vector<expected_finding>(const trox_test::data_file<T>&)> found;
    std::uint64_t damaged = 0; ///< records that the summary must call damaged
};

template <class Integer, class File> void increase(File& f, std::uint64_t at, std::int64_t by)
{
    f.put(at, static_cast<Integer>(static_cast<std::int64_t>(f.template get<Integer>(at)) + by));
}

/// Gathers defects; knows where things lie.
template <class T> class defect_list
{
public:
    using file = trox_test::data_file<T>;
    using word = typename T::word;
    using subhead = typename T::subhead;
    using references = typename T::reference_table;
    static constexpr bool has_checks = T::has_trailer_checks;
    static constexpr bool is_wide = sizeof(word) == 8;
    static constexpr std::size_t word_size = sizeof(word);
    static constexpr std::size_t basket_head = 2 * word_size;

    std::vector<defect<T>>& table()
    {
        return table_;
    }

protected:
    using damage = std::function<void(file&)>;
    using found = std::function<std::vector<expected_finding>(const file&)>;

    void add(const char* name, damage how, found what, std::uint64_t damaged = 0)
    {
        table_.push_back({name, std::move(how), std::move(what), damaged});
    }
    void add(const char* name, damage how, std::vector<expected_finding> what, std::uint64_t damaged = 0)
    {
        add(
            name, std::move(how), [what](const file&) { return what; }, damaged);
    }

    // Where things are.
    static std::uint64_t subhead_at(const file& f, std::size_t column, std::size_t row)
    {
        return f.row(column, row).chhd;
    }
    static std::uint64_t payload_at(const file& f, std::size_t column, std::size_t row)
    {
        return subhead_at(f, column, row) + sizeof(subhead);
    }
    static std::uint64_t event_at(const file& f, std::size_t row)
    {
        return f.row(plain_trace, row).evhd;
    }
    static std::uint64_t block_at(const file& f, std::size_t row)
    {
        return f.row(plain_trace, row).sbhd;
    }
    static std::uint64_t index_entry_at(const file& f)
    {
        return f.map().event_index.position + 2 * word_size; // events of type NORMAL
    }
    static constexpr std::size_t index_head = is_wide ? 48 : 32;
    static constexpr std::size_t index_info = is_wide ? 24 : 16;
    static std::uint64_t info_at(const file& f, std::size_t i)
    {
        return index_entry_at(f) + index_head + i * index_info;
    }
    static std::uint64_t basket_at(const file& f, std::size_t column)
    {
        return f.map().channels[column].position;
    }
    static std::uint64_t dictionary_field(const file& f, std::size_t column, std::size_t offset)
    {
        return f.dictionary_position(column) + offset;
    }

    static void flip(file& f, std::uint64_t at)
    {
        f.bytes().at(at) ^= 0x55;
    }

    static void set_byte(file& f, std::uint64_t at, int value)
    {
        f.bytes().at(at) = static_cast<std::uint8_t>(value);
    }

private:
    std::vector<defect<T>> table_;
};

/// What every list of defects takes from its base.
#define TROX_DEFECT_NAMES                                                                                              \
    using typename defect_list<T>::file;                                                                               \
    using typename defect_list<T>::found;                                                                              \
    using typename defect_list<T>::word;                                                                               \
    using typename defect_list<T>::subhead;                                                                            \
    using typename defect_list<T>::references;                                                                         \
    using defect_list<T>::has_checks;                                                                                  \
    using defect_list<T>::is_wide;                                                                                     \
    using defect_list<T>::word_size;                                                                                   \
    using defect_list<T>::basket_head;                                                                                 \
    using defect_list<T>::index_head;                                                                                  \
    using defect_list<T>::index_info;                                                                                  \
    using defect_list<T>::add;                                                                                         \
    using defect_list<T>::subhead_at;                                                                                  \
    using defect_list<T>::payload_at;                                                                                  \
    using defect_list<T>::event_at;                                                                                    \
    using defect_list<T>::block_at;                                                                                    \
    using defect_list<T>::index_entry_at;                                                                              \
    using defect_list<T>::info_at;                                                                                     \
    using defect_list<T>::basket_at;                                                                                   \
    using defect_list<T>::dictionary_field;                                                                            \
    using defect_list<T>::flip;                                                                                        \
    using defect_list<T>::set_byte;

} // namespace inspect_test

#endif
