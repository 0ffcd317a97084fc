#include "progress.h"

#include "text.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace trox_cli
{
namespace
{

constexpr auto between = std::chrono::milliseconds(100);

std::size_t terminal_width()
{
    struct winsize size {
    };
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace

progress::progress(std::string label, std::uint64_t total, std::chrono::milliseconds patience)
    : label_(std::move(label)), total_(total), is_shown_(total > 0), next_(clock::now() + patience)
{
}

progress::~progress()
{
    hide();
}

progress::progress(progress&& other) noexcept
    : label_(std::move(other.label_)), total_(other.total_), done_(other.done_),
      is_shown_(std::exchange(other.is_shown_, false)), is_drawn_(std::exchange(other.is_drawn_, false)),
      next_(other.next_)
{
}

void progress::advance(std::uint64_t amount)
{
    reach(done_ + amount);
}

void progress::reach(std::uint64_t done)
{
    done_ = done;
    if (!is_shown_) {
        return;
    }
    const auto now = clock::now();
    if (now >= next_) {
        next_ = now + between;
        draw();
    }
}

void progress::hide()
{
    if (std::exchange(is_drawn_, false)) {
        std::fputs("\r\033[K", stderr);
    }
}

void progress::draw()
{
    constexpr std::size_t fixed = 12; // brackets, per cent, gaps
    const std::size_t width = terminal_width();
    const double part = std::min(1.0, static_cast<double>(done_) / static_cast<double>(total_));
    const std::string label = fit_width(label_, width / 2);
    const std::size_t used = display_width(label) + fixed;
    const std::size_t room = width > used ? width - used : 0;
    const auto filled = static_cast<std::size_t>(part * static_cast<double>(room));
    std::fputs(fmt::format("\r{}  [{}{}] {:3.0f} %\033[K", label, std::string(filled, '='),
                           std::string(room - filled, ' '), 100 * part)
                   .c_str(),
               stderr);
    is_drawn_ = true;
}

} // namespace trox_cli
