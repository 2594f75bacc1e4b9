// What the disk in memory holds after a script is what this machine's holds.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tally.hpp"
#include "trials.hpp"

namespace durability {
namespace {

void run_script(const script &s, const disk &d)
{
    ledger l;
    recording r(d, &l, s, s.seed);
    r.create();
    r.record(s.samples);
    r.close();
}

std::string read_file(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void compare_folder(const std::filesystem::path &folder, const disk &d)
{
    size_t count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        ++count;
        if (read_file(entry.path()) != d.content(name))
            report_fault(name + " is another than on a real disk");
    }
    if (count != d.names().size())
        report_fault("the disk in memory holds other files than a real one");
}

}  // namespace

void try_real_disk(uint64_t seed)
{
    set_scenario("real disk " + std::to_string(seed));
    const script s(seed);
    disk d;
    {
        const mounted m(d);
        run_script(s, d);
    }
    const auto before = std::filesystem::current_path();
    std::string name =
        std::filesystem::temp_directory_path() / "durability-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) std::exit(2);
    std::filesystem::current_path(name);
    run_script(s, disk());
    compare_folder(name, d);
    std::filesystem::current_path(before);
    std::filesystem::remove_all(name);
    ++counts().scripts;
}

}  // namespace durability
