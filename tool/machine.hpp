// machine.hpp: the figures of the machine this program runs on.
#ifndef KOR_TOOL_MACHINE_HPP
#define KOR_TOOL_MACHINE_HPP

#include <map>
#include <string>
#include <vector>

namespace tool {

// One figure as the kernel gives it.  Where whole is not zero, value and whole
// are counters, and the reading is scale times the growth of the one over the
// growth of the other; otherwise the reading is the value.
struct figure {
    std::string name;
    double value;
    double whole = 0;
    double scale = 1;
};

using figures = std::vector<figure>;

// What each source offers.  root stands before /proc and /sys.  now is the
// monotonic time in seconds, the whole of every rate.
void read_processors(const std::string &root, double now, figures &out);
void read_memory(const std::string &root, double now, figures &out);
void read_disks(const std::string &root, double now, figures &out);
void read_networks(const std::string &root, double now, figures &out);
void read_hardware(const std::string &root, figures &out);

// Reads everything, turning counters into rates between two calls.
class machine {
public:
    // The first reading of the counters is taken here.
    machine(std::string root, double now);

    // Takes a sample.  names() and values() hold it until the next one; the
    // names differ from those of the last sample when hardware came or went.
    // A counter seen for the first time, or one that ran back, reads as NaN.
    void sample(double now);
    const std::vector<std::string> &names() const { return names_; }
    const std::vector<float> &values() const { return values_; }

private:
    figures read(double now) const;

    std::string root_;
    std::map<std::string, figure> previous_;
    std::vector<std::string> names_;
    std::vector<float> values_;
};

// A name that a line of text telemetry can carry.
std::string printable_name(std::string name);

}  // namespace tool

#endif
