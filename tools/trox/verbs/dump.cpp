// trox dump: a file as it lies on the disk.
#include "dump.h"
#include "../cli/input.h"
#include "../cli/text.h"
#include "../verbs.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace trox_cli
{
namespace
{

namespace ti = trox::inspect;

/// "1234" or "0x4d2"; none for anything else.
std::optional<std::uint64_t> position_from_text(std::string_view text)
{
    const bool is_hex = text.starts_with("0x");
    text.remove_prefix(is_hex ? 2 : 0);
    std::uint64_t value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value, is_hex ? 16 : 10);
    return error == std::errc{} && stop == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

choices<std::optional<ti::item_kind>> item_words()
{
    choices<std::optional<ti::item_kind>> words;
    for (int i = 0; i <= static_cast<int>(ti::item_kind::unused); ++i) {
        const auto kind = static_cast<ti::item_kind>(i);
        words.emplace_back(ti::name_of(kind), kind);
    }
    return words;
}

class dump_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        app.add_option("file", path_, "The data file")->type_name(file_value)->required();
        CLI::Option* const items =
            app.add_flag("--items", lists_items_, "List what the file is made of")->group(group_);
        CLI::Option* const hex =
            app.add_flag("--hex", shows_bytes_, "Show bytes: of --item, or from --at on")->group(group_);
        items->excludes(hex);
        add_choice(app, "--item", options_.item, item_words(), "This kind of item only")->group(group_);
        app.add_option("--channel,-c", options_.channel, "This channel only: its entry, rows and records")
            ->type_name("NAME")
            ->group(group_);
        app.add_option_function<std::string>(
               "--event", [this](const std::string& text) { take_number(text, "--event", options_.event); },
               "Headers, rows and records of the event of this number only")
            ->type_name("N")
            ->group(group_);
        app.add_option_function<std::string>(
               "--rows", [this](const std::string& text) { take_rows(text); },
               "Entries of each table, rows of each column and records of each basket: a number (8), or all")
            ->type_name("N|all")
            ->default_str(std::to_string(usual_rows))
            ->group(group_);
        app.add_option_function<std::string>(
               "--at", [this](const std::string& text) { take_number(text, "--at", at_); },
               "Position of the first byte that --hex shows, decimal or with 0x")
            ->type_name("POSITION")
            ->needs(hex)
            ->group(group_);
        app.add_option_function<std::string>(
               "--length", [this](const std::string& text) { take_number(text, "--length", length_); },
               "Bytes that --hex shows (of an item all, else 256, when left out)")
            ->type_name("N")
            ->needs(hex)
            ->group(group_);
        common.declare_rendering(app);
        common.declare_output(app);
    }

    exit_code run(context& context) override
    {
        context.keep_inputs({path_});
        refuse_unused();
        try {
            if (shows_bytes_) {
                show_bytes(context);
            } else if (lists_items_) {
                list_items(context);
            } else {
                show_fields(context);
            }
        } catch (const std::system_error& error) {
            throw failure(error.what());
        }
        return exit_code::done;
    }

private:
    static constexpr const char* group_ = "Selection";
    static constexpr std::uint64_t usual_rows = 8;
    static constexpr std::uint64_t usual_bytes = 256;

    static void take_number(const std::string& text, const char* option, std::optional<std::uint64_t>& target)
    {
        target = position_from_text(text);
        if (!target) {
            throw CLI::ValidationError(option, "\"" + text + "\" is no number");
        }
    }

    /// What would be passed over in silence makes no sense.
    void refuse_unused() const
    {
        const char* const mode = shows_bytes_ ? "--hex" : "--items";
        if ((shows_bytes_ || lists_items_) && (options_.event || has_rows_)) {
            throw wrong_use(std::string(options_.event ? "--event" : "--rows") + " selects fields, and not what " +
                                mode + " shows",
                            std::string("leave one of the two out"));
        }
        if (at_ && (options_.item || !options_.channel.empty())) {
            throw wrong_use("--at shows the bytes at a position, whatever they belong to",
                            std::string("leave out --at, or ") + (options_.item ? "--item" : "--channel"));
        }
    }

    void take_rows(const std::string& text)
    {
        has_rows_ = true;
        if (text == "all") {
            options_.rows = ti::all_rows;
            return;
        }
        std::optional<std::uint64_t> rows;
        take_number(text, "--rows", rows);
        options_.rows = *rows;
    }

    /// People read positions in hexadecimal, programs as numbers.
    static cell position_cell(const context& context, std::uint64_t position)
    {
        return context.options().format == output_format::table ? cell(ti::hex(position)) : cell(position);
    }
    static column position_column(const context& context)
    {
        const bool is_text = context.options().format == output_format::table;
        return {"offset", is_text ? column_type::text : column_type::integer};
    }

    /// Tells what does not fit; damaged files are shown as far as they go.
    static void tell_remarks(context& context, const ti::file_items& items)
    {
        for (const std::string& remark : items.remarks) {
            context.data_lost(remark);
        }
    }

    void require_data_file(const ti::file_items& items) const
    {
        if (!items.format) {
            throw failure(path_ + ": is no data file", "--hex --at 0 shows its bytes");
        }
        const auto& names = items.channels;
        if (!options_.channel.empty() && std::find(names.begin(), names.end(), options_.channel) == names.end()) {
            throw failure(path_ + ": has no channel " + options_.channel,
                          did_you_mean(similar_words(options_.channel, names)));
        }
    }

    void list_items(context& context) const
    {
        const ti::file_items items = ti::list_items(path_);
        require_data_file(items);
        report result = context.open_table();
        result.begin_table({"items"},
                           {position_column(context), {"size", column_type::integer}, {"item"}, {"channel"}});
        for (const ti::item& one : items.items) {
            if (is_wanted(one)) {
                result.row({position_cell(context, one.position), one.length, name_of(one.kind),
                            one.channel.empty() ? cell() : cell(one.channel)});
            }
        }
        result.end_table();
        context.finish(result);
        tell_remarks(context, items);
    }

    bool is_wanted(const ti::item& one) const
    {
        return (!options_.item || *options_.item == one.kind) &&
               (options_.channel.empty() || options_.channel == one.channel);
    }

    void show_fields(context& context) const
    {
        require_data_file(ti::list_items(path_));
        if (options_.event && !ti::has_event(path_, *options_.event)) {
            throw failure(path_ + ": has no event " + std::to_string(*options_.event));
        }
        report result = context.open_table();
        result.begin_table({"fields"}, {position_column(context),
                                        {"item"},
                                        {"channel", column_type::text, column_view::exact},
                                        {"record"},
                                        {"field"},
                                        {"bytes"},
                                        {"value"},
                                        {"meaning"}});
        const auto items = ti::dump_fields(path_, options_, [&](const ti::dump_row& row) {
            result.row({position_cell(context, row.offset), name_of(row.item),
                        row.channel.empty() ? cell() : cell(row.channel), row.record, row.field, row.raw, row.value,
                        row.meaning});
        });
        result.end_table();
        context.finish(result);
        tell_remarks(context, items);
    }

    void show_bytes(context& context) const
    {
        std::vector<ti::item> pieces;
        if (at_) {
            if (const auto size = ti::list_items(path_).file_size; *at_ != 0 && *at_ >= size) {
                throw failure(path_ + ": ends at " + ti::hex(size) + ", in front of " + ti::hex(*at_));
            }
            pieces.push_back({ti::item_kind::unused, {}, *at_, length_.value_or(usual_bytes)});
        } else {
            if (!options_.item && options_.channel.empty()) {
                throw wrong_use("--hex does not know what to show", "--item ITEM, --channel NAME or --at POSITION");
            }
            const ti::file_items items = ti::list_items(path_);
            require_data_file(items);
            std::copy_if(items.items.begin(), items.items.end(), std::back_inserter(pieces),
                         [this](const ti::item& one) { return is_wanted(one); });
            tell_remarks(context, items);
        }
        report result = context.open_table();
        result.begin_table({"bytes"}, {position_column(context), {"bytes"}, {"text"}});
        for (const ti::item& one : pieces) {
            const std::uint64_t length = std::min(one.length, length_.value_or(one.length));
            ti::dump_bytes(path_, one.position, length, [&](const ti::hex_row& row) {
                result.row({position_cell(context, row.offset), row.bytes, row.text});
            });
        }
        result.end_table();
        context.finish(result);
    }

    std::string path_;
    ti::dump_options options_{.rows = usual_rows};
    bool lists_items_ = false;
    bool shows_bytes_ = false;
    bool has_rows_ = false;
    std::optional<std::uint64_t> at_;
    std::optional<std::uint64_t> length_;
};

} // namespace

const verb_entry dump_entry{
    "dump",
    "show headers and tables of a file as they lie on the disk",
    "Shows each field of a file with its position, its bytes, its value and what it means, item by item in file order: "
    "headers, tables, records with their heads. Of damaged files, what is there. --items lists the items alone, --hex "
    "shows bytes.\n\n"
    "Of each table the first entries are shown; --rows all shows all of them. Payloads are shown by their heads, and "
    "not "
    "decompressed: \"trox show\" shows values.",
    {{"trox dump run.raw --items", "Lists what a file is made of, with positions."},
     {"trox dump run.raw --item dictionary --rows all", "Shows the dictionary field by field."},
     {"trox dump run.raw -c LINAC.RF/ADC/A07.M1/TRACE.Z --event 388120125", "Shows one record."},
     {"trox dump run.raw --hex --item references", "Shows the bytes of the file reference table."},
     {"trox dump run.raw --hex --at 0x37145 --length 64", "Shows bytes anywhere."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<dump_verb>(); }};

} // namespace trox_cli
