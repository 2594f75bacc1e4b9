// sensor_internal.hpp: what the sensor sources share beside their interface.
#ifndef KOR_MODEL_SENSOR_INTERNAL_HPP
#define KOR_MODEL_SENSOR_INTERNAL_HPP

#include <cstdint>

#include "sensor.h"

// Makes the canonical sensor of a name in the registry's storage.  The name
// stays the registry's.
void _sensor_create(struct sensor *sensor, char *name, uint32_t hash_code);

bool _sensor_is_canonical(const struct sensor *s);

namespace vela {

// Spreads addresses of heap blocks over the slots of a table.
inline uint32_t hash_of_address(const void *address) noexcept
{
    const auto bits = reinterpret_cast<uintptr_t>(address);
    // Neighbouring blocks differ above the alignment of malloc only.
    const auto block = static_cast<uint32_t>(bits >> 3);
    return (block * 2654435769u) >> 7;
}

}  // namespace vela

#endif
