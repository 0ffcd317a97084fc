#include "pointers.h"

#include <algorithm>
#include <set>

namespace trox::recovery
{
namespace
{

class pointers_shape
{
public:
    explicit pointers_shape(found& file)
        : file_(file), sizes_(file.layout.sizes()), place_(file.tables[static_cast<std::size_t>(item::pointers)])
    {
    }

    void run()
    {
        std::vector<unsigned char> head(sizes_.pointers_head);
        if (!place_.is_there() || !file_.file.read(place_.position, head.data(), head.size())) {
            return;
        }
        const auto told = file_.layout.word(head.data() + 2 * sizes_.word);
        const auto rows = is_sound(told) ? told : find_rows(told);
        if (rows > most_rows()) {
            place_ = {}; // nothing tells where its columns begin
            return;
        }
        if (rows != told) {
            file_.result.remarks.push_back("pointers table: has " + std::to_string(rows) + " rows a column, not " +
                                           std::to_string(told));
        }
        file_.rows_per_column = rows;
        const auto column = rows * sizes_.row;
        if (file_.is_dictionary_whole && !is_sound(told)) {
            const auto whole = sizes_.pointers_head + file_.listed * column;
            place_.cut = whole > file_.file.rest(place_.position);
            place_.usable = std::min(whole, file_.file.rest(place_.position));
        }
        file_.columns = column == 0 ? 0 : (place_.usable - sizes_.pointers_head + column - 1) / column;
    }

private:
    std::uint64_t most_rows() const
    {
        return file_.file.length() / sizes_.row;
    }

    std::uint64_t body() const
    {
        return place_.usable - sizes_.pointers_head;
    }

    // Without a whole dictionary nothing else tells how many columns there are.
    bool is_sound(std::uint64_t rows) const
    {
        const bool is_filled = rows == 0 ? body() == 0 : body() % (rows * sizes_.row) == 0;
        const auto whole = file_.listed * rows * sizes_.row;
        return rows <= most_rows() &&
               (file_.is_dictionary_whole ? !place_.cut && body() == whole : place_.cut || is_filled);
    }

    std::uint64_t find_rows(std::uint64_t told)
    {
        std::vector<std::uint64_t> candidates{told};
        const auto column = file_.listed * sizes_.row;
        if (column != 0 && body() % column == 0) {
            candidates.push_back(body() / column);
        }
        std::int64_t most = 0;
        for (const auto& one : file_.channels) {
            most = std::max(most, one.count);
        }
        candidates.push_back(static_cast<std::uint64_t>(most));
        auto best = told;
        std::uint64_t most_hits = 0;
        for (const auto rows : candidates) {
            const auto hits = rows == 0 || rows > most_rows() ? 0 : count_hits(rows);
            if (hits > most_hits) {
                most_hits = hits;
                best = rows;
            }
        }
        return best;
    }

    // Columns of which the first row leads to a sub-head of their channel.
    std::uint64_t count_hits(std::uint64_t rows)
    {
        std::uint64_t hits = 0;
        std::vector<unsigned char> bytes(std::max(sizes_.row, sizes_.subhead));
        for (std::uint64_t i = 0; i < file_.listed; ++i) {
            const auto at = place_.position + sizes_.pointers_head + i * rows * sizes_.row;
            if (!file_.file.read(at, bytes.data(), sizes_.row)) {
                break;
            }
            const auto subhead = file_.layout.row(bytes.data()).chhd;
            hits += subhead != 0 && !file_.channels[i].subhead.empty() &&
                            file_.file.read(subhead, bytes.data(), sizes_.subhead) &&
                            file_.layout.subhead(bytes.data()).name.text == file_.channels[i].subhead
                        ? 1
                        : 0;
        }
        return hits;
    }

    found& file_;
    const layout_sizes& sizes_;
    located& place_;
};

// What a basket's first row tells of its place, where some of the tables are not in theirs.
void add_shifts_of_baskets(found& file)
{
    const auto& place = file.table(item::pointers);
    const auto& sizes = file.layout.sizes();
    std::set<std::uint64_t> shifts{0};
    for (const auto& one : file.shifts.places()) {
        shifts.insert(one.shift());
    }
    std::vector<unsigned char> bytes(sizes.row);
    std::vector<unsigned char> word(sizes.word);
    for (std::uint64_t column = 0; shifts.size() > 1 && column < file.columns; ++column) {
        const auto at = place.position + sizes.pointers_head + column * file.rows_per_column * sizes.row;
        if (!file.file.read(at, bytes.data(), bytes.size())) {
            break;
        }
        const auto told = file.layout.row(bytes.data()).chhd - sizes.table_head;
        std::set<std::uint64_t> fitting;
        for (const auto shift : shifts) {
            if (file.file.read(told + shift, word.data(), word.size()) &&
                file.layout.word(word.data()) == pattern_of(item::channel)) {
                fitting.insert(told + shift);
            }
        }
        if (fitting.size() == 1) {
            file.shifts.add(told, *fitting.begin());
        }
    }
}

} // namespace

void find_shape_of_pointers(found& file)
{
    pointers_shape(file).run();
}

void find_shifts(found& file)
{
    const auto end = file.file.length();
    std::vector<unsigned char> word(file.layout.sizes().word);
    if (file.references.how == means::pattern && end >= file.layout.sizes().trailer &&
        file.file.read(end - file.layout.sizes().trailer, word.data(), word.size()) &&
        file.layout.word(word.data()) != 0) {
        file.shifts.add(file.layout.word(word.data()), file.references.position);
    }
    for (std::size_t i = 0; file.references.is_there() && i < table_count; ++i) {
        if (file.tables[i].is_there() && file.reference_table.items[i] != 0) {
            file.shifts.add(file.reference_table.items[i], file.tables[i].position);
        }
    }
    file.shifts.drop_single();
    file.shifts.settle();
    add_shifts_of_baskets(file);
    file.shifts.settle();
    const shift_map::place* before = nullptr;
    for (const auto& one : file.shifts.places()) {
        if (before != nullptr && before->shift() != one.shift()) {
            const auto change = static_cast<std::int64_t>(one.shift() - before->shift());
            const auto count = static_cast<std::uint64_t>(change < 0 ? -change : change);
            file.lose((change < 0 ? amount(count, "byte is missing", "bytes are missing")
                                  : amount(count, "byte is too many", "bytes are too many")) +
                      " between " + std::to_string(before->found) + " and " + std::to_string(one.found));
        }
        before = &one;
    }
    for (auto& one : file.channels) {
        if (file.shifts.is_uncertain(one.entry)) { // the name is known to be one, the rest may be anything
            one.event_mask = one.dtype_mask = 0;
            one.count = -1;
            one.is_entry_damaged = true;
        }
    }
}

} // namespace trox::recovery
