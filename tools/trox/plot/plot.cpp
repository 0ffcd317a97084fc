#include "plot.h"

#include "reduce.h"

#include "base/utf8.h"
#include "trox/error.h"

#include <algorithm>
#include <utility>

namespace trox_plot
{
namespace
{

[[noreturn]] void refuse(trox::fault why, const std::string& reason, const std::string& channel)
{
    throw trox::error(why, reason, {{}, channel, {}, {}});
}

/// The curves of one channel's members, in the order in which they were met.
class channel_curves
{
public:
    reduced_series& of(const std::string& member)
    {
        const auto found =
            std::find_if(curves_.begin(), curves_.end(), [&](const auto& curve) { return curve.first == member; });
        if (found != curves_.end()) {
            return found->second;
        }
        curves_.emplace_back(member, reduced_series());
        return curves_.back().second;
    }
    const std::vector<std::pair<std::string, reduced_series>>& all() const noexcept
    {
        return curves_;
    }

private:
    std::vector<std::pair<std::string, reduced_series>> curves_;
};

class drawing_maker
{
public:
    drawing_maker(const trox::data_set& data, const trox::selection& what, const trox::reading_options& reading,
                  const request& how)
        : data_(data), how_(how), events_(data, what, reading), curves_(events_.channels().size()),
          is_member_met_(how.members.size()), forms_(curves_.size(), curve_form::lines)
    {
    }

    plotted make()
    {
        try {
            make_subject();
        } catch (const trox::error& error) {
            if (error.why() != trox::fault::not_found || events_.report().skipped_records.empty()) {
                throw;
            }
            result_.nothing =
                how_.event ? "the records of event " + std::to_string(*how_.event) + " cannot be read" : error.what();
        }
        result_.report = events_.report();
        for (const channel_curves& channel : curves_) {
            for (const auto& [member, points] : channel.all()) {
                result_.left_out += points.left_out();
            }
        }
        return std::move(result_);
    }

private:
    void make_subject()
    {
        switch (subject_of_channels()) {
        case subject::automatic:
        case subject::history:
            make_history();
            break;
        case subject::trace:
            make_traces();
            break;
        case subject::image:
            make_image();
            break;
        }
    }

    std::string time_text(trox::time_point time) const
    {
        return how_.show_time ? how_.show_time(time) : trox::to_text(time);
    }

    const trox::channel_info& info(std::size_t channel) const
    {
        return data_.channels()[events_.channels()[channel]];
    }

    subject subject_of_channels() const
    {
        if (how_.what != subject::automatic) {
            return how_.what;
        }
        switch (data_.inspect(events_.channels()[0]).kind) {
        case trox::channel_kind::trace:
        case trox::channel_kind::region_of_interest:
            return subject::trace;
        case trox::channel_kind::image:
            return subject::image;
        case trox::channel_kind::single_values:
        case trox::channel_kind::name_value:
        case trox::channel_kind::slow:
        case trox::channel_kind::control_value:
        case trox::channel_kind::unknown:
            return subject::history;
        }
        return subject::history;
    }

    /// The event that was asked for, or the first with a record of any channel.
    trox::event find_event()
    {
        if (how_.event) {
            auto found = events_.at_number(*how_.event);
            if (!found) {
                throw trox::error(trox::fault::not_found, "there is no such event", {{}, {}, how_.event, {}});
            }
            return *std::move(found);
        }
        for (const trox::event& event : events_) {
            for (const trox::record& record : event.records()) {
                if (record && record.is_updated()) {
                    return event;
                }
            }
        }
        throw trox::error(trox::fault::not_found, "no event has a record of what is to be drawn");
    }

    bool wants(const std::string& member)
    {
        if (how_.members.empty()) {
            return true;
        }
        const auto found = std::find(how_.members.begin(), how_.members.end(), member);
        if (found == how_.members.end()) {
            return false;
        }
        is_member_met_[static_cast<std::size_t>(found - how_.members.begin())] = true;
        return true;
    }

    void require_members() const
    {
        for (std::size_t i = 0; i < is_member_met_.size(); ++i) {
            if (!is_member_met_[i]) {
                throw trox::error(trox::fault::wrong_use, "no channel has a member " + how_.members[i]);
            }
        }
    }

    // --- traces ---------------------------------------------------------------------------------------------

    void make_traces()
    {
        const trox::event event = find_event();
        bool is_by_sample = true;
        for (std::size_t channel = 0; channel < event.records().size(); ++channel) {
            const trox::record& record = event[channel];
            if (record && record.members() == 0) {
                refuse(trox::fault::wrong_use,
                       std::string("holds no samples but is of kind ") + trox::name_of(record.kind()),
                       info(channel).name);
            }
            for (std::size_t member = 0; record && member < record.members(); ++member) {
                const auto view = record.trace(member, how_.window);
                if (view && wants(std::string(view->name))) {
                    add_samples(curves_[channel].of(std::string(view->name)), *view);
                    is_by_sample = is_by_sample && view->start == 0 && view->increment == 1;
                }
            }
        }
        figure drawn = make_figure();
        drawn.when = "event " + std::to_string(event.number()) + ", " + time_text(event.time());
        drawn.label = is_by_sample ? "sample" : "position on the channel's axis";
        result_.event = event.number();
        result_.what = std::move(drawn);
    }

    static void add_samples(reduced_series& to, const trox::trace_view& view)
    {
        if (view.group_size == 0) {
            return;
        }
        for (std::size_t i = 0; i < view.samples.size(); ++i) {
            const std::size_t group = i / view.group_size;
            if (i % view.group_size == 0) {
                to.interrupt();
            }
            to.add(view.start + static_cast<double>(group) * view.group_increment +
                       static_cast<double>(i % view.group_size) * view.increment,
                   static_cast<double>(view.samples[i]));
        }
    }

    // --- values against time ----------------------------------------------------------------------------------

    void make_history()
    {
        std::uint64_t done = 0;
        for (const trox::event& event : events_) {
            for (std::size_t channel = 0; channel < event.records().size(); ++channel) {
                const trox::record& record = event[channel];
                if (record && record.is_updated()) {
                    add_values(channel, record);
                    forms_[channel] = record.slow() ? curve_form::steps : curve_form::lines;
                }
            }
            if (how_.progress) {
                how_.progress(++done);
            }
        }
        figure drawn = make_figure();
        drawn.axis = axis_kind::time;
        drawn.times = how_.times;
        drawn.label = "time";
        result_.what = std::move(drawn);
    }

    void add_values(std::size_t channel, const trox::record& record)
    {
        const auto time = static_cast<double>(record.time().time_since_epoch().count());
        const auto add = [&](const std::string& member, double value) {
            if (wants(member)) {
                curves_[channel].of(member).add(time, value);
            }
        };
        if (const auto list = record.values()) {
            for (const trox::name_value& entry : list->entries) {
                add(std::string(entry.name), static_cast<double>(entry.value));
            }
        } else if (record.members() > 1 && record.trace()->samples.size() == 1) {
            for (std::size_t member = 0; member < record.members(); ++member) {
                if (const auto view = record.trace(member)) {
                    add(std::string(view->name), static_cast<double>(view->samples[0]));
                }
            }
        } else if (const auto value = record.number()) {
            add("VALUE", *value);
        } else if (record.kind() != trox::channel_kind::control_value) { // whose texts and arrays come in turn
            refuse(trox::fault::wrong_use,
                   std::string("is of kind ") + trox::name_of(record.kind()) +
                       ", of which there is no single value to draw against time",
                   info(channel).name);
        }
    }

    // --- images -----------------------------------------------------------------------------------------------

    void make_image()
    {
        if (events_.channels().size() != 1) {
            throw trox::error(trox::fault::wrong_use, "one image is drawn at a time, and more channels are selected");
        }
        const trox::event event = find_event();
        const trox::record& record = event[0];
        if (!record) {
            refuse(trox::fault::not_found, "has no record in event " + std::to_string(event.number()), info(0).name);
        }
        const auto image = record.image();
        if (!image || image->pixel_count() == 0) {
            refuse(trox::fault::wrong_use, std::string("holds no image but is of kind ") + trox::name_of(record.kind()),
                   info(0).name);
        }
        picture drawn;
        drawn.title = title();
        drawn.when = "event " + std::to_string(event.number()) + ", " + time_text(record.time());
        drawn.label = unit_text(0);
        drawn.width = image->width;
        drawn.height = image->height;
        drawn.x = image->x;
        drawn.y = image->y;
        drawn.values.reserve(image->pixel_count());
        for (std::size_t i = 0; i < image->pixel_count(); ++i) {
            drawn.values.push_back(static_cast<float>(image->value(i)));
        }
        result_.points = image->pixel_count();
        result_.event = event.number();
        result_.what = std::move(drawn);
    }

    // --- words ------------------------------------------------------------------------------------------------

    std::string name_of_channel(std::size_t channel) const
    {
        return trox_base::printable(info(channel).name);
    }
    std::string unit_text(std::size_t channel) const
    {
        return trox_base::printable(info(channel).unit);
    }
    std::string title() const
    {
        return events_.channels().size() == 1 ? name_of_channel(0) : "";
    }
    std::string curve_label(std::size_t channel, const std::string& member) const
    {
        const bool is_plain = curves_[channel].all().size() == 1 && how_.members.empty();
        const std::string clean = trox_base::printable(member);
        if (events_.channels().size() == 1) {
            return is_plain ? name_of_channel(channel) : clean;
        }
        return is_plain ? name_of_channel(channel) : name_of_channel(channel) + ":" + clean;
    }

    figure make_figure()
    {
        figure drawn;
        drawn.title = title();
        std::vector<std::string> units; // of the panels
        for (std::size_t channel = 0; channel < curves_.size(); ++channel) {
            for (const auto& [member, points] : curves_[channel].all()) {
                if (points.count() == 0) {
                    continue;
                }
                const auto found = std::find(units.begin(), units.end(), unit_text(channel));
                const auto index = static_cast<std::size_t>(found - units.begin());
                if (found == units.end()) {
                    units.push_back(unit_text(channel));
                    drawn.panels.emplace_back();
                }
                drawn.panels[index].curves.push_back({curve_label(channel, member), forms_[channel], points.points()});
                result_.points += points.count();
            }
        }
        if (drawn.panels.empty() && events_.report().skipped_records.empty()) {
            require_members();
        }
        if (drawn.panels.empty()) {
            throw trox::error(trox::fault::not_found, "there are no values to draw");
        }
        require_members();
        for (std::size_t i = 0; i < drawn.panels.size(); ++i) {
            panel& shown = drawn.panels[i];
            const std::string unit = units[i].empty() ? "" : "[" + units[i] + "]";
            const std::string name = shown.curves.size() == 1 ? shown.curves[0].label : units[i].empty() ? "value" : "";
            shown.label = name.empty() || unit.empty() ? name + unit : name + " " + unit;
        }
        return drawn;
    }

    const trox::data_set& data_;
    const request& how_;
    trox::event_reader events_;
    std::vector<channel_curves> curves_; // by channel
    std::vector<bool> is_member_met_;
    std::vector<curve_form> forms_; // by channel
    plotted result_;
};

} // namespace

plotted make_drawing(const trox::data_set& data, const trox::selection& what, const trox::reading_options& reading,
                     const request& how)
{
    return drawing_maker(data, what, reading, how).make();
}

} // namespace trox_plot
