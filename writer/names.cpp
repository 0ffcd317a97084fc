#include "names.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace trox::writer
{
namespace
{

constexpr int max_fraction_digits = 6;
constexpr std::uint32_t max_microseconds = 999999;

void check_part(const std::string& part, const char* what)
{
    constexpr std::size_t longest = 31; // the field of a reader's request
    const auto allowed = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '.' ||
               c == '+';
    };
    if (part.empty() || part.size() > longest || part.front() == '.' ||
        !std::all_of(part.begin(), part.end(), allowed)) {
        throw error(fault::bad_name,
                    std::string(what) + " \"" + part + "\" is not made of 1 to 31 letters, digits, '-', '+' and '.'");
    }
}

} // namespace

void check_identity(const run_identity& run)
{
    check_part(run.experiment, "experiment");
    check_part(run.stream, "stream");
    if (run.number < 0) {
        throw error(fault::bad_name, "run number " + std::to_string(run.number) + " is negative");
    }
}

std::string time_text(std::int64_t seconds)
{
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    char text[32];
    if (::gmtime_r(&time, &parts) == nullptr || std::strftime(text, sizeof text, "%Y%m%dT%H%M%S", &parts) == 0) {
        throw error(fault::bad_name, "a file name cannot hold the time " + std::to_string(seconds));
    }
    return text;
}

std::string data_file_name(const run_identity& run, std::int32_t file_number, time_stamp time, int fraction_digits)
{
    check_identity(run);
    if (file_number < 0) {
        throw error(fault::bad_name, "file number " + std::to_string(file_number) + " is negative");
    }
    if (fraction_digits < 0 || fraction_digits > max_fraction_digits || time.timelow > max_microseconds) {
        throw error(fault::bad_name, "a file name holds 0 to 6 digits of a second of 0 to 999999 microseconds");
    }
    auto name = run.experiment + "_" + run.stream + "_run" + std::to_string(run.number) + "_file" +
                std::to_string(file_number) + "_" + time_text(time.timeup);
    if (fraction_digits > 0) {
        char digits[16];
        std::snprintf(digits, sizeof digits, "%06u", static_cast<unsigned>(time.timelow));
        name += "." + std::string(digits, static_cast<std::size_t>(fraction_digits));
    }
    return name + ".raw";
}

} // namespace trox::writer
