#include "measure.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <thread>

namespace bench
{

namespace
{

std::atomic<unsigned long> sink{0};
bool every_goal_met = true;

double seconds_of(const std::function<void()>& work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// The same arithmetic on both cores, long enough to notice a neighbour.
void control()
{
    on_threads(2, [](int) {
        constexpr unsigned long steps = 4'000'000;
        unsigned long value = 1;
        for (unsigned long i = 0; i < steps; ++i) {
            value = value * 6364136223846793005UL + i;
        }
        keep(value);
    });
}

} // namespace

void keep(unsigned long value)
{
    sink.fetch_xor(value, std::memory_order_relaxed);
}

void on_threads(int threads, const std::function<void(int)>& work)
{
    std::vector<std::jthread> running;
    running.reserve(static_cast<std::size_t>(threads));
    for (int i = 0; i < threads; ++i) {
        running.emplace_back(work, i);
    }
}

std::vector<double> interleaved_medians(const std::vector<contestant>& contestants, int rounds)
{
    constexpr double disturbed = 1.3;
    std::vector<double> controls;
    std::vector<std::vector<double>> times(contestants.size());
    for (int round = -1; round < rounds; ++round) { // the first round warms up
        const double control_time = seconds_of(control);
        for (std::size_t i = 0; i < contestants.size(); ++i) {
            if (contestants[i].prepare) {
                contestants[i].prepare();
            }
            const double time = seconds_of(contestants[i].run);
            if (round >= 0) {
                times[i].push_back(time);
            }
        }
        if (round >= 0) {
            controls.push_back(control_time);
        }
    }
    const double usual = median(controls);
    const auto quiet = static_cast<std::size_t>(
        std::count_if(controls.begin(), controls.end(), [&](double time) { return time <= disturbed * usual; }));
    std::vector<double> medians;
    for (const auto& of_one : times) {
        std::vector<double> counted;
        for (std::size_t round = 0; round < of_one.size(); ++round) {
            if (controls[round] <= disturbed * usual || 2 * quiet < controls.size()) {
                counted.push_back(of_one[round]);
            }
        }
        medians.push_back(median(counted));
    }
    if (quiet < controls.size()) {
        std::printf("    (%zu of %zu rounds were disturbed by other work on the machine)\n", controls.size() - quiet,
                    controls.size());
    }
    return medians;
}

goal at_least(double value)
{
    return {goal::kind::at_least, value};
}

goal at_most(double value)
{
    return {goal::kind::at_most, value};
}

void print_heading(const std::string& text)
{
    std::printf("\n%s\n", text.c_str());
}

void print_time(const std::string& name, double seconds, double bytes)
{
    constexpr double mega = 1e6;
    std::printf("    %-58s %10.3f ms %9.0f MB/s\n", name.c_str(), seconds * 1e3, bytes / seconds / mega);
}

void print_ratio(const std::string& name, double ratio, goal wanted)
{
    if (wanted.wanted == goal::kind::none) {
        std::printf("  = %-58s %10.2f\n", name.c_str(), ratio);
        return;
    }
    const bool least = wanted.wanted == goal::kind::at_least;
    const bool met = least ? ratio >= wanted.value : ratio <= wanted.value;
    every_goal_met = every_goal_met && met;
    std::printf("  = %-58s %10.2f   goal %s %.2f: %s\n", name.c_str(), ratio, least ? "at least" : "at most",
                wanted.value, met ? "met" : "MISSED");
    std::fflush(stdout);
}

bool all_goals_met()
{
    return every_goal_met;
}

} // namespace bench
