// Aligned columns for people. The first rows decide how wide columns are; the rest is written as it comes.
#include "cell_text.h"
#include "output.h"
#include "report.h"
#include "text.h"

#include <algorithm>
#include <utility>

namespace trox_cli
{
namespace
{

constexpr std::size_t rows_that_decide = 1000;
constexpr std::size_t gap = 2;

struct shown_cell {
    std::string text;
    tone shade = tone::plain;
};

const char* color_of(tone shade)
{
    switch (shade) {
    case tone::plain:
        break;
    case tone::good:
        return "\033[32m";
    case tone::warning:
        return "\033[33m";
    case tone::bad:
        return "\033[31m";
    case tone::dim:
        return "\033[2m";
    }
    return "";
}

bool is_right_aligned(column_type type)
{
    switch (type) {
    case column_type::integer:
    case column_type::real:
    case column_type::bytes:
    case column_type::duration:
        return true;
    case column_type::text:
    case column_type::time:
    case column_type::boolean:
    case column_type::list:
        break;
    }
    return false;
}

std::string heading_of(const column& what)
{
    std::string text = what.title.empty() ? what.name : what.title;
    if (what.title.empty()) {
        std::replace(text.begin(), text.end(), '_', ' ');
    }
    return text;
}

class table_renderer final : public renderer
{
public:
    table_renderer(output& out, const report_setting& setting) : out_(out), setting_(setting) {}

    void fields(const section& head, const std::vector<field>& values) override
    {
        begin_section(head);
        std::size_t widest = 0;
        for (const field& value : values) {
            widest = std::max(widest, is_shown(value.what) ? display_width(heading_of(value.what)) : 0);
        }
        for (const field& value : values) {
            if (is_shown(value.what)) {
                write_field(value, widest);
            }
        }
    }
    void begin_table(const section& head, const std::vector<column>& columns) override
    {
        begin_section(head);
        columns_.clear();
        shown_columns_.clear();
        for (std::size_t i = 0; i < columns.size(); ++i) {
            if (is_shown(columns[i])) {
                columns_.push_back(columns[i]);
                shown_columns_.push_back(i);
            }
        }
        widths_.clear();
        waiting_.clear();
        has_headings_ = false;
    }
    void row(const std::vector<cell>& cells) override
    {
        std::vector<shown_cell> shown;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const cell& value = cells[shown_columns_[i]];
            shown.push_back({shown_text(value, columns_[i], setting_.times), shade_of(value)});
        }
        if (has_headings_) {
            write_row(shown);
            return;
        }
        waiting_.push_back(std::move(shown));
        if (waiting_.size() == rows_that_decide) {
            write_waiting();
        }
    }
    void end_table() override
    {
        if (!has_headings_) {
            write_waiting();
        }
    }
    void finish() override {}

private:
    static tone shade_of(const cell& value)
    {
        return value.is_null() && value.shade() == tone::plain ? tone::dim : value.shade();
    }

    bool is_shown(const column& what) const
    {
        return what.view == column_view::everywhere || setting_.detail == column_view::exact;
    }

    std::string colored(const std::string& text, const std::string& color) const
    {
        return setting_.has_colors && !color.empty() && !text.empty() ? color + text + "\033[0m" : text;
    }

    void begin_section(const section& head)
    {
        if (std::exchange(has_section_, true)) {
            out_.write("\n");
        }
        if (!head.title.empty()) {
            out_.write(colored(head.title, "\033[1;4m") + "\n");
        }
    }

    void write_field(const field& value, std::size_t column_width)
    {
        const std::string name = heading_of(value.what);
        const std::string text = shown_text(value.value, value.what, setting_.times);
        const std::size_t start = column_width + gap;
        const std::string fitting =
            setting_.width == 0 ? text : fit_width(text, setting_.width > start ? setting_.width - start : 1);
        out_.write(colored(name, "\033[1m") + std::string(start - display_width(name), ' ') +
                   colored(fitting, color_of(shade_of(value.value))) + "\n");
    }

    void write_waiting()
    {
        has_headings_ = true;
        decide_widths();
        std::vector<shown_cell> headings;
        for (const column& what : columns_) {
            headings.push_back({heading_of(what)});
        }
        write_headings(headings);
        for (const auto& shown : std::exchange(waiting_, {})) {
            write_row(shown);
        }
    }

    void decide_widths()
    {
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            std::size_t width = display_width(heading_of(columns_[i]));
            for (const auto& shown : waiting_) {
                width = std::max(width, display_width(shown[i].text));
            }
            widths_.push_back(width);
        }
        narrow_to_terminal();
    }

    /// Takes columns off the widest texts, as long as they are readable.
    void narrow_to_terminal()
    {
        constexpr std::size_t narrowest = 12;
        std::size_t total = gap * (columns_.empty() ? 0 : columns_.size() - 1);
        for (const std::size_t width : widths_) {
            total += width;
        }
        for (; setting_.width != 0 && total > setting_.width; --total) {
            std::size_t widest = columns_.size();
            for (std::size_t i = 0; i < columns_.size(); ++i) {
                const bool is_text = columns_[i].type == column_type::text || columns_[i].type == column_type::list;
                if (is_text && widths_[i] > narrowest && (widest == columns_.size() || widths_[i] > widths_[widest])) {
                    widest = i;
                }
            }
            if (widest == columns_.size()) {
                return;
            }
            --widths_[widest];
        }
    }

    void write_headings(const std::vector<shown_cell>& headings)
    {
        out_.write(colored(line_of(headings), "\033[1m") + "\n");
    }

    void write_row(const std::vector<shown_cell>& shown)
    {
        out_.write(line_of(shown) + "\n");
    }

    /// The cells side by side. A text that is wider than its column pushes the others, unless a terminal's width is
    /// to be kept.
    std::string line_of(const std::vector<shown_cell>& shown) const
    {
        std::string line;
        std::size_t used = 0;
        for (std::size_t i = 0; i < shown.size(); ++i) {
            const std::size_t start = used + (i == 0 ? 0 : gap);
            const std::size_t left = setting_.width > start ? setting_.width - start : 0;
            if (setting_.width != 0 && left == 0) {
                break;
            }
            const std::size_t room = setting_.width == 0 ? widths_[i] : std::min(left, widths_[i]);
            const std::string text = setting_.width == 0 ? shown[i].text : fit_width(shown[i].text, room);
            const std::size_t width = display_width(text);
            const std::string padding(room > width ? room - width : 0, ' ');
            const bool is_right = is_right_aligned(columns_[i].type);
            line += std::string(start - used, ' ') + (is_right ? padding : "");
            line += colored(text, color_of(shown[i].shade));
            line += is_right || i + 1 == shown.size() ? "" : padding;
            used = start + width + padding.size();
        }
        return line;
    }

    output& out_;
    report_setting setting_;
    std::vector<column> columns_;            ///< those that are shown
    std::vector<std::size_t> shown_columns_; ///< their cells in a row
    std::vector<std::size_t> widths_;
    std::vector<std::vector<shown_cell>> waiting_;
    bool has_headings_ = false;
    bool has_section_ = false;
};

} // namespace

std::unique_ptr<renderer> make_table_renderer(output& out, const report_setting& setting)
{
    return std::make_unique<table_renderer>(out, setting);
}

} // namespace trox_cli
