// trox_compare_expected DATA_ROOT EXPECTED.json...: reads what each expected file is about and prints how what was
// read differs. DATA_ROOT holds data_<generation>/, catalogue/ and expected/. Exit code 0 when nothing differs, 1 when
// something does, 2 on wrong use.
#include "expected_file.h"

#include <cstdio>
#include <exception>

namespace
{

using namespace trox_golden;

template <class G> std::vector<std::string> compare(const json& expected, const std::string& data_root)
{
    if (expected.contains("file")) {
        return dump_differences<G>(expected, data_root, {});
    }
    // Damage must not keep a tool waiting; a record that was passed over is a difference.
    return list_differences<G>(expected, {data_root, file_source::list, true});
}

std::vector<std::string> compare(const std::string& data_root, const std::string& path)
{
    const json expected = load_json(path);
    const auto generation = expected.at("generation").get<std::string>();
    if (generation == golden_legacy::name) {
        return compare<golden_legacy>(expected, data_root);
    }
    if (generation == golden_2010::name) {
        return compare<golden_2010>(expected, data_root);
    }
    if (generation == golden_2024::name) {
        return compare<golden_2024>(expected, data_root);
    }
    return {"generation " + generation + " is not read by this program"};
}

bool is_equal(const std::string& data_root, const std::string& path)
{
    std::vector<std::string> found;
    try {
        found = compare(data_root, path);
    } catch (const std::exception& failure) {
        found = {failure.what()};
    }
    std::printf("%s: %s\n%s", path.c_str(), found.empty() ? "equal" : "different", summary(found).c_str());
    return found.empty();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s DATA_ROOT EXPECTED.json...\n", argv[0]);
        return 2;
    }
    bool all_equal = true;
    for (int i = 2; i < argc; ++i) {
        all_equal = is_equal(argv[1], argv[i]) && all_equal;
    }
    return all_equal ? 0 : 1;
}
