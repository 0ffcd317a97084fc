#include "event_tables.h"

#include <ctime>

namespace trox_demo
{
namespace
{

std::string clock_text(time_stamp time)
{
    const auto seconds = static_cast<std::time_t>(time.timeup);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    return text("%02d:%02d:%02d.%03u", parts.tm_hour, parts.tm_min, parts.tm_sec, time.timelow / 1000);
}

/// A slow channel's value carries a star in the event in which it changed.
std::string cell_of(channel of, const event_records& read)
{
    const auto* const block = read.block(of);
    if (block == nullptr) {
        return ".";
    }
    const std::string value = cell(of, *block);
    return is_slow(of) ? value + (read.is_updated(of) ? "*" : " ") : value;
}

} // namespace

event_tables::event_tables()
    : beam_({{"event", "", 9},
             {"time", "UTC", 12},
             {"charge", "nC", 6},
             {"probe amplitude", "min  mean   max MV/m", 20},
             {"forward power", "min   mean    max kW", 20},
             {"orbit x, y", "mm", 13}},
            3),
      rest_({{"event", "", 8},
             {"8 cavities", "MV/m", 10},
             {"energy", "MeV", 12},
             {"screen 5", "size  mean", 10},
             {"laser spot", "size  mean", 10},
             {"feedb.", "gain P", 6},
             {"oscillator", "", 13, table::align::left},
             {"quad", "A", 7},
             {"vacuum", "mbar", 8},
             {"rack", "degC", 6}},
            1)
{
}

void event_tables::add(const event_records& read)
{
    const auto value = [&](channel of) { return cell_of(of, read); };
    const std::string number = text("%u", read.number);
    beam_.add({number, clock_text(read.time), value(channel::charge), value(channel::probe), value(channel::forward),
               value(channel::orbit)});
    rest_.add({number, value(channel::gradients), value(channel::energy), value(channel::screen),
               value(channel::laser_spot), value(channel::feedback), value(channel::oscillator),
               value(channel::quadrupole), value(channel::vacuum), value(channel::rack)});
    const auto* const probe = read.block(channel::probe);
    if (trace_.values.empty() && probe != nullptr) {
        trace_ = trace_of(*probe);
        trace_event_ = read.number;
    }
    const auto* const screen = read.block(channel::screen);
    if (image_.width == 0 && screen != nullptr) {
        image_ = picture_of(*screen);
        image_event_ = read.number;
    }
}

void event_tables::print() const
{
    std::puts("\nEVENTS: beam and cavity\n");
    beam_.print();
    std::puts("\nEVENTS: module, cameras, lists and slow values (* changed in this event, . no data)\n");
    rest_.print();
    std::printf("\n%s, event %u\n\n", facts(channel::probe).text, trace_event_);
    print_curve(trace_.values, trace_.start, trace_.inc, "us", facts(channel::probe).unit);
    if (image_.width != 0) {
        std::printf("\n%s, event %u\n\n", facts(channel::screen).text, image_event_);
        print_picture(image_.pixels, image_.width);
    }
}

} // namespace trox_demo
