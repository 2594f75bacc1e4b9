// sensor: handles of interned names.  Only a canonical sensor, which the
// registry owns, has a name and a hash code; every other points at it.
#include "sensor.h"

#include <cstring>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "io/codec.hpp"
#include "model/sensor_form.hpp"
#include "model/sensor_internal.hpp"
#include "sensors.h"

namespace {

void make_handle(struct sensor *s, struct sensor *canonical)
{
    s->version = SENSOR_VERSION;
    s->name = nullptr;
    s->hash_code = 0;
    s->canonical = canonical;
}

// Sensors that are destroyed again unless the array is handed out.
class new_sensors {
public:
    explicit new_sensors(uint32_t count) noexcept
        : sensors_(static_cast<struct sensor **>(sensors_create(count)))
    {
    }
    new_sensors(const new_sensors &) = delete;
    new_sensors &operator=(const new_sensors &) = delete;
    ~new_sensors()
    {
        for (uint32_t i = 0; i < made_; ++i) sensor_destroy(&sensors_.get()[i]);
    }
    bool exist() const noexcept { return sensors_ != nullptr; }
    bool add(const char *name) noexcept
    {
        struct sensor *const made = sensor_create(name);
        if (made != nullptr) sensors_.get()[made_++] = made;
        return made != nullptr;
    }
    struct sensor **release() noexcept
    {
        made_ = 0;
        return sensors_.release();
    }

private:
    vela::heap<struct sensor *> sensors_;
    uint32_t made_ = 0;
};

}  // namespace

void _sensor_create(struct sensor *sensor, char *name, uint32_t hash_code)
{
    sensor->version = SENSOR_VERSION;
    sensor->name = name;
    sensor->hash_code = hash_code;
    sensor->canonical = sensor;
}

bool _sensor_is_canonical(const struct sensor *s)
{
    return s->canonical == s;
}

struct sensor *sensor_create(const char *name)
{
    KOR_ASSERT(name != NULL);
    struct sensor *const canonical = sensors_get_sensor(name);
    if (canonical == nullptr) KOR_ASSERT(vela_get_last_error() < 0);
    return canonical;
}

int sensor_init(struct sensor *s, const char *name)
{
    KOR_ASSERT(s != NULL);
    KOR_ASSERT(name != NULL);
    make_handle(s, sensors_get_sensor(name));
    return s->canonical != nullptr ? KOR_OK : vela_get_last_error();
}

int sensor_init_null(struct sensor *s)
{
    KOR_ASSERT(s != NULL);
    make_handle(s, nullptr);
    return KOR_OK;
}

struct sensor *sensor_create_null(void)
{
    return vela::create<struct sensor>(sensor_init_null);
}

struct sensor *sensor_copy(const struct sensor *s, struct sensor *dst)
{
    KOR_ASSERT(s != NULL);
    KOR_ASSERT(s->version == SENSOR_VERSION);
    KOR_ASSERT(s->canonical != NULL);
    struct sensor handle = *s;
    _sensors_increment_ref_count(&handle);
    if (dst == nullptr) return handle.canonical;
    make_handle(dst, handle.canonical);
    return dst;
}

void sensor_destruct(struct sensor *sensor)
{
    KOR_ASSERT(sensor != NULL);
    KOR_ASSERT(sensor->version == SENSOR_VERSION);
    // Asked now: releasing its last reference frees a canonical sensor.
    const bool is_canonical = _sensor_is_canonical(sensor);
    if (sensor->canonical != nullptr) sensors_destroy_sensor(sensor);
    if (is_canonical) return;
    sensor->version = 0;
    sensor->canonical = nullptr;
    KOR_ASSERT(sensor->hash_code == 0);
    KOR_ASSERT(sensor->name == NULL);
}

void sensor_destroy(struct sensor **sensor)
{
    KOR_ASSERT(sensor != NULL);
    KOR_ASSERT(*sensor != NULL);
    const bool is_canonical = _sensor_is_canonical(*sensor);
    sensor_destruct(*sensor);
    if (!is_canonical) std::free(*sensor);
    *sensor = nullptr;
}

struct sensor **sensor_create_array(const char *const *names, uint32_t nsensors)
{
    KOR_ASSERT(names != NULL);
    KOR_ASSERT(nsensors > 0);
    new_sensors sensors(nsensors);
    if (!sensors.exist()) return nullptr;
    for (uint32_t i = 0; i < nsensors; ++i)
        if (!sensors.add(names[i])) return nullptr;
    return sensors.release();
}

int sensor_is_equal(const struct sensor *s1, const struct sensor *s2)
{
    KOR_ASSERT(s1 != NULL);
    KOR_ASSERT(s1->version == SENSOR_VERSION);
    KOR_ASSERT(s2 != NULL);
    KOR_ASSERT(s2->version == SENSOR_VERSION);
    return s1->canonical == s2->canonical;
}

char *sensor_get_name(const struct sensor *s, char *buf, size_t len)
{
    KOR_ASSERT(s != NULL);
    KOR_ASSERT(s->version == SENSOR_VERSION);
    KOR_ASSERT(buf != NULL);
    KOR_ASSERT(s->canonical != NULL);
    // Part of the interface: a name of `len` characters or more is not
    // terminated, and a shorter one is followed by NULs up to `len`.
    return std::strncpy(buf, s->canonical->name, len);
}

char *sensor_to_string(const struct sensor *s, char *buf, size_t len)
{
    KOR_ASSERT(s != NULL);
    KOR_ASSERT(s->version == SENSOR_VERSION);
    KOR_ASSERT(buf != NULL);
    KOR_ASSERT(s->canonical != NULL);
    return sensor_get_name(s, buf, len);
}

uint32_t sensor_get_hash_code(const struct sensor *s)
{
    KOR_ASSERT(s != NULL);
    KOR_ASSERT(s->version == SENSOR_VERSION);
    KOR_ASSERT(s->canonical != NULL);
    return s->canonical->hash_code;
}

int binary_serializer_write_sensor(const struct sensor *sensor,
                                   struct writer *writer)
{
    KOR_ASSERT(sensor != NULL);
    KOR_ASSERT(sensor->version == 1);
    KOR_ASSERT(sensor->canonical != NULL);
    sensor = sensor->canonical;
    KOR_ASSERT(sensor->name != NULL);
    return vela::encode(*sensor, writer, vela::sensor_form);
}

int binary_serializer_read_sensor(struct sensor **sensor, struct reader *reader)
{
    KOR_ASSERT(sensor != NULL);
    struct sensor stored = {};
    const int nread = vela::decode(stored, reader, vela::sensor_form);
    const vela::heap<char> name(stored.name);
    if (nread <= 0) return nread;
    struct sensor *const canonical = sensor_create(name.get());
    if (canonical == nullptr) return vela_get_last_error();
    *sensor = canonical;
    return nread;
}
