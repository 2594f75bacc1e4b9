// sensor_form.hpp: the stored form of a sensor: its version and its name.
#ifndef KOR_MODEL_SENSOR_FORM_HPP
#define KOR_MODEL_SENSOR_FORM_HPP

#include "sensor.h"

namespace vela {

inline constexpr auto sensor_form = [](auto &archive, auto &sensor) {
    archive.version(sensor.version, SENSOR_VERSION);
    archive.string(sensor.name);
};

}  // namespace vela

#endif
