// Interleaved measurements and their report.
#ifndef TROX_BENCH_MEASURE_H
#define TROX_BENCH_MEASURE_H

#include <functional>
#include <string>
#include <vector>

namespace bench
{

/// One thing to time. `prepare` runs before each timed `run`, outside the clock.
struct contestant {
    std::string name;
    std::function<void()> prepare;
    std::function<void()> run;
};

/// Seconds per run, one per contestant: medians over `rounds` rounds, in each of which every contestant runs once.
/// Rounds in which a control (a fixed amount of arithmetic on both cores) took over 1.3 times its median are
/// left out, where at least half remain: there somebody else used the machine.
std::vector<double> interleaved_medians(const std::vector<contestant>& contestants, int rounds);

/// Runs `work(thread)` on `threads` threads and waits for them.
void on_threads(int threads, const std::function<void(int)>& work);

/// What a ratio should reach.
struct goal {
    enum class kind { none, at_least, at_most } wanted = kind::none;
    double value = 0;
};
goal at_least(double value);
goal at_most(double value);

void print_heading(const std::string& text);
void print_time(const std::string& name, double seconds, double bytes);
/// A line "name  ratio  goal  meets|MISSES".
void print_ratio(const std::string& name, double ratio, goal wanted = {});
/// True when every ratio so far met its goal.
bool all_goals_met();

/// Keeps a value that nobody else uses from being optimised away.
void keep(unsigned long value);

} // namespace bench

#endif
