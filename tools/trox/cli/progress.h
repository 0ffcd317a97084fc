// A bar on standard error for work that lasts.
#ifndef TROX_CLI_PROGRESS_H
#define TROX_CLI_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace trox_cli
{

/// Shows how far some work is, ten times a second at most; gone when it is destroyed.
/// One thread at a time.
class progress
{
public:
    /// Shows nothing at all.
    progress() = default;
    /// Shows "<label>  [=====>     ] 45 %" on standard error, once the work has lasted for some time. `total` is what
    /// `advance` adds up to.
    progress(std::string label, std::uint64_t total, std::chrono::milliseconds patience);
    ~progress();
    progress(progress&& other) noexcept;
    progress& operator=(progress&&) = delete;

    void advance(std::uint64_t amount = 1);
    /// The same by what is done in all.
    void reach(std::uint64_t done);
    /// Takes the bar away until the next `advance`, before something else is written there.
    void hide();

private:
    using clock = std::chrono::steady_clock;
    void draw();

    std::string label_;
    std::uint64_t total_ = 0;
    std::uint64_t done_ = 0;
    bool is_shown_ = false; ///< may be shown at all
    bool is_drawn_ = false;
    clock::time_point next_{};
};

} // namespace trox_cli

#endif
