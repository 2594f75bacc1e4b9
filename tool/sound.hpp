// sound.hpp: the figures of an interval that single-precision sums can carry.
#ifndef KOR_TOOL_SOUND_HPP
#define KOR_TOOL_SOUND_HPP

#include <optional>
#include <string>

#include "hist_value.h"

namespace tool {

// A figure and how far it may be from the exact one.
struct estimate {
    double value;
    double error;
};

// The mean of an interval's readings; nothing when there are none, or when
// their sum is beyond single precision.
std::optional<estimate> mean_of(const hist_value &hv);

// The shortest text that gives the float back; "n/a" for no reading.
std::string to_text(float reading);

// No more decimals than the error leaves sound.
std::string to_text(const estimate &e);

}  // namespace tool

#endif
