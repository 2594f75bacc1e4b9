// machine.cpp: from the kernel's figures to one sample.
#include "machine.hpp"

#include <cmath>
#include <limits>
#include <utility>

namespace tool {

namespace {

constexpr float no_reading = std::numeric_limits<float>::quiet_NaN();

float growth(const figure &now, const figure &before)
{
    const double value = now.value - before.value;
    const double whole = now.whole - before.whole;
    if (value < 0 || !(whole > 0)) return no_reading;
    return static_cast<float>(now.scale * value / whole);
}

}  // namespace

std::string printable_name(std::string name)
{
    for (char &c : name) {
        const bool plain = c >= ' ' && c <= '~' && c != ',';
        if (!plain) c = '_';
    }
    return name;
}

machine::machine(std::string root, double now) : root_(std::move(root))
{
    for (const figure &f : read(now)) previous_[f.name] = f;
}

figures machine::read(double now) const
{
    figures all;
    read_processors(root_, now, all);
    read_memory(root_, now, all);
    read_disks(root_, now, all);
    read_networks(root_, now, all);
    read_hardware(root_, all);
    for (figure &f : all) f.name = printable_name(std::move(f.name));
    return all;
}

void machine::sample(double now)
{
    std::map<std::string, figure> current;
    names_.clear();
    values_.clear();
    for (figure &f : read(now)) {
        // Two devices may bear one name; a sensor stands once in a sample.
        if (current.count(f.name) > 0) continue;
        const auto before = previous_.find(f.name);
        names_.push_back(f.name);
        if (f.whole == 0) {
            values_.push_back(static_cast<float>(f.value));
        } else if (before == previous_.end()) {
            values_.push_back(no_reading);
        } else {
            values_.push_back(growth(f, before->second));
        }
        current.emplace(f.name, std::move(f));
    }
    previous_ = std::move(current);
}

}  // namespace tool
