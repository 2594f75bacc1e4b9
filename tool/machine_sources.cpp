// machine_sources.cpp: what /proc and /sys say about this machine.
//
// Every name holds one of the words by which text telemetry is recognised.
#include <sys/statvfs.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <optional>
#include <sstream>
#include <string>

#include "machine.hpp"

namespace tool {

namespace {

namespace fs = std::filesystem;

constexpr double percent = 100;
constexpr double kibi = 1024;
constexpr double sector_bytes = 512;
constexpr double milliseconds = 1e3;
constexpr double microseconds = 1e6;

std::optional<double> number_in(const fs::path &path)
{
    std::ifstream in(path);
    double value = 0;
    if (in >> value) return value;
    return std::nullopt;
}

std::string word_in(const fs::path &path)
{
    std::ifstream in(path);
    std::string word;
    std::getline(in, word);
    return word;
}

std::vector<fs::path> sorted_entries(const fs::path &folder)
{
    std::vector<fs::path> entries;
    std::error_code ignored;
    for (fs::directory_iterator i(folder, ignored), end; i != end;
         i.increment(ignored)) {
        entries.push_back(i->path());
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

// The share of time that some task waited for the resource.
void read_pressure(const std::string &root, const char *resource, double now,
                   const char *name, figures &out)
{
    std::ifstream in(root + "/proc/pressure/" + resource);
    std::string word;
    if (!(in >> word) || word != "some") return;
    while (in >> word) {
        constexpr std::string_view total = "total=";
        if (!word.starts_with(total)) continue;
        out.push_back({name, std::strtod(word.c_str() + total.size(), nullptr),
                       now * microseconds, percent});
        return;
    }
}

// A line "cpuN user nice system idle iowait irq softirq steal ...", in ticks.
void add_processor(const std::string &label, std::istream &fields, figures &out)
{
    enum { user, nice, system, idle, iowait, irq, softirq, steal, nticks };
    double t[nticks] = {};
    for (double &tick : t) fields >> tick;
    const double whole = std::accumulate(t, t + nticks, 0.0);
    const double busy = whole - t[idle] - t[iowait];
    out.push_back({label + " BUSY", busy, whole, percent});
    if (label != "CPU") return;
    const double in_kernel = t[system] + t[irq] + t[softirq];
    out.push_back({"CPU USER", t[user] + t[nice], whole, percent});
    out.push_back({"CPU SYSTEM", in_kernel, whole, percent});
    out.push_back({"CPU WAIT", t[iowait], whole, percent});
    out.push_back({"CPU IDLE", t[idle], whole, percent});
}

struct renamed {
    const char *from;
    const char *to;
};

// Adds a counter or level whose name stands in the table.
template <size_t N>
const char *translated(const renamed (&table)[N], const std::string &word)
{
    for (const renamed &r : table) {
        if (word == r.from) return r.to;
    }
    return nullptr;
}

bool is_physical_disk(const fs::path &block)
{
    std::error_code ignored;
    return fs::exists(block / "device", ignored);
}

void read_disk(const fs::path &block, double now, figures &out)
{
    enum {
        reads,
        sectors_read = 2,
        writes = 4,
        sectors_written = 6,
        busy = 9,
        nfields
    };
    std::ifstream in(block / "stat");
    double f[nfields] = {};
    for (double &field : f) {
        if (!(in >> field)) return;
    }
    const std::string disk = "DISK " + block.filename().string();
    constexpr double per_kibi = sector_bytes / kibi;
    out.push_back({disk + " READ KB", f[sectors_read], now, per_kibi});
    out.push_back({disk + " WRITE KB", f[sectors_written], now, per_kibi});
    out.push_back({disk + " READS", f[reads], now});
    out.push_back({disk + " WRITES", f[writes], now});
    out.push_back({disk + " BUSY", f[busy], now * milliseconds, percent});
}

void read_network(const fs::path &net, double now, figures &out)
{
    static constexpr renamed counters[] = {{"rx_bytes", "READ KB"},
                                           {"tx_bytes", "WRITE KB"},
                                           {"rx_packets", "PACKETS IN"},
                                           {"tx_packets", "PACKETS OUT"}};
    const std::string label = "NET " + net.filename().string() + " ";
    for (const renamed &c : counters) {
        const auto value = number_in(net / "statistics" / c.from);
        if (!value) continue;
        const bool bytes = std::string_view(c.from).ends_with("bytes");
        out.push_back({label + c.to, *value, now, bytes ? 1 / kibi : 1});
    }
}

struct hardware_kind {
    const char *prefix;  // of the file: PREFIX<number>_input
    const char *name;    // of the sensor, before chip and label
    double unit;         // of the file, in the sensor's unit
};

constexpr hardware_kind hardware_kinds[] = {{"temp", "Temp ", 1e-3},
                                            {"in", "V_", 1e-3},
                                            {"fan", "PS FAN ", 1},
                                            {"power", "POWER ", 1e-6},
                                            {"curr", "PS AMPS ", 1e-3}};

const hardware_kind *kind_of(const std::string &stem)
{
    const size_t n = stem.find_first_of("0123456789");
    for (const hardware_kind &kind : hardware_kinds) {
        if (n != std::string::npos && stem.compare(0, n, kind.prefix) == 0) {
            return &kind;
        }
    }
    return nullptr;
}

void read_chip(const fs::path &chip, figures &out)
{
    constexpr std::string_view suffix = "_input";
    const std::string chip_name = word_in(chip / "name");
    for (const fs::path &path : sorted_entries(chip)) {
        std::string stem = path.filename().string();
        if (!stem.ends_with(suffix)) continue;
        stem.resize(stem.size() - suffix.size());
        const hardware_kind *kind = kind_of(stem);
        const auto value = kind ? number_in(path) : std::nullopt;
        if (!value) continue;
        const std::string label = word_in(chip / (stem + "_label"));
        out.push_back(
            {kind->name + chip_name + " " + (label.empty() ? stem : label),
             *value * kind->unit});
    }
}

}  // namespace

void read_processors(const std::string &root, double now, figures &out)
{
    static constexpr renamed counters[] = {{"ctxt", "CPU SWITCHES"},
                                           {"intr", "CPU INTERRUPTS"},
                                           {"processes", "CPU FORKS"}};
    std::ifstream in(root + "/proc/stat");
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        std::string word;
        fields >> word;
        double value = 0;
        if (word.starts_with("cpu")) {
            add_processor("CPU" + word.substr(3), fields, out);
        } else if (const char *name = translated(counters, word)) {
            if (fields >> value) out.push_back({name, value, now});
        } else if (word == "procs_running" && fields >> value) {
            out.push_back({"CPU RUNNABLE", value});
        }
    }
    read_pressure(root, "cpu", now, "CPU STALLED", out);
}

void read_memory(const std::string &root, double now, figures &out)
{
    static constexpr renamed levels[] = {{"MemAvailable:", "CORE AVAILABLE MB"},
                                         {"Cached:", "CORE CACHED MB"},
                                         {"AnonPages:", "CORE PROGRAMS MB"},
                                         {"Dirty:", "CORE DIRTY MB"},
                                         {"SwapFree:", "CORE SWAP FREE MB"}};
    static constexpr renamed counters[] = {{"pgfault", "CORE FAULTS"},
                                           {"pgmajfault", "CORE READ FAULTS"}};
    std::string word;
    double value = 0;
    std::ifstream in(root + "/proc/meminfo");
    while (in >> word >> value) {
        const char *name = translated(levels, word);
        if (name) out.push_back({name, value / kibi});
        in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    std::ifstream events(root + "/proc/vmstat");
    while (events >> word >> value) {
        const char *name = translated(counters, word);
        if (name) out.push_back({name, value, now});
    }
    read_pressure(root, "memory", now, "CORE STALLED", out);
}

void read_disks(const std::string &root, double now, figures &out)
{
    for (const fs::path &block : sorted_entries(root + "/sys/block")) {
        if (is_physical_disk(block)) read_disk(block, now, out);
    }
    struct statvfs space;
    if (statvfs((root + "/").c_str(), &space) == 0 && space.f_blocks > 0) {
        const auto all = static_cast<double>(space.f_blocks);
        const auto left = static_cast<double>(space.f_bavail);
        out.push_back({"DISK ROOT USED", percent * (1 - left / all)});
    }
    read_pressure(root, "io", now, "DISK STALLED", out);
}

void read_networks(const std::string &root, double now, figures &out)
{
    for (const fs::path &net : sorted_entries(root + "/sys/class/net")) {
        // Interfaces of the kernel's own have no device and mostly idle.
        std::error_code ignored;
        if (fs::exists(net / "device", ignored)) read_network(net, now, out);
    }
}

void read_hardware(const std::string &root, figures &out)
{
    for (const fs::path &chip : sorted_entries(root + "/sys/class/hwmon")) {
        read_chip(chip, out);
    }
    for (const fs::path &zone : sorted_entries(root + "/sys/class/thermal")) {
        const auto value = number_in(zone / "temp");
        if (!value) continue;
        out.push_back(
            {"Temp " + zone.filename().string() + " " + word_in(zone / "type"),
             *value / milliseconds});
    }
}

}  // namespace tool
