// record_limits.hpp: what a buffer refuses to store.
//
// A string beyond the limit would leave the front half of a record behind, and
// an empty one could never be read back: either makes a file useless for good.
#ifndef KOR_RECORDER_RECORD_LIMITS_HPP
#define KOR_RECORDER_RECORD_LIMITS_HPP

#include <cstring>

#include "error.h"
#include "io/codec.hpp"
#include "sensor_array.h"

namespace vela {

inline int check_text(const char *text) noexcept
{
    if (text == nullptr) return KOR_OK;  // for the serializer's assertion
    if (text[0] == '\0') return KOR_ERR_INVALID_DATA;
    return std::strlen(text) > max_serialized_count ? KOR_ERR_TOO_LONG : KOR_OK;
}

inline int check_names(const struct sensor_array &sensors) noexcept
{
    for (uint32_t i = 0; i < sensors.nsensors; ++i) {
        const struct sensor *const sensor = sensors.sensors[i];
        if (sensor == nullptr || sensor->canonical == nullptr) continue;
        const int result = check_text(sensor->canonical->name);
        if (result < 0) return result;
    }
    return KOR_OK;
}

}  // namespace vela

#endif
