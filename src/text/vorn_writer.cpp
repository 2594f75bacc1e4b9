// A writer of text telemetry: it remembers the sensors of the last header and
// hands every byte to the base writer.
#include "vorn_writer.h"

#include <cstdlib>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "text/vorn_line.hpp"

int vorn_writer_init(struct writer *writer, struct writer *writer_base)
{
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(writer_base != NULL);

    const int result = _writer_init(writer, WRITER_TYPE_VORN);
    if (result < 0) return result;
    auto *const state = static_cast<vela::vorn_writer_state *>(
        std::malloc(sizeof(vela::vorn_writer_state)));
    if (state == nullptr) {
        _writer_destruct(writer);
        return KOR_ERR_NO_MEMORY;
    }
    state->base = {.version = VORN_WRITER_VERSION,
                   .writer = writer_base,
                   .sensors = nullptr};
    writer->writer = state;
    writer->fn_destruct = _vorn_writer_destruct;
    writer->fn_write_bytes = _vorn_writer_write_bytes;
    writer->fn_flush = _vorn_writer_flush;
    return KOR_OK;
}

struct writer *vorn_writer_create(struct writer *writer_base)
{
    KOR_ASSERT(writer_base != NULL);
    return vela::create<struct writer>([writer_base](struct writer *writer) {
        return vorn_writer_init(writer, writer_base);
    });
}

int vorn_writer_have_sensors_changed(struct writer *writer,
                                     struct sensor_array *sensors)
{
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(writer->type == WRITER_TYPE_VORN);
    KOR_ASSERT(writer->writer != NULL);
    KOR_ASSERT(sensors != NULL);
    auto *const cwriter = static_cast<struct vorn_writer *>(writer->writer);
    KOR_ASSERT(cwriter->version == VORN_WRITER_VERSION);

    if (cwriter->sensors != nullptr &&
        sensor_array_is_equal(cwriter->sensors, sensors))
        return 0;
    struct sensor_array *const copy = sensor_array_copy(sensors);
    if (copy == nullptr) {
        KOR_ASSERT(vela_get_last_error() < 0);
        return vela_get_last_error();
    }
    const vela::owned<sensor_array_destroy> replaced(cwriter->sensors);
    cwriter->sensors = copy;
    return 1;
}

int _vorn_writer_write_bytes(void *state, const void *buf, uint32_t len)
{
    auto *const cwriter = static_cast<struct vorn_writer *>(state);
    KOR_ASSERT(cwriter != NULL);
    KOR_ASSERT(cwriter->version == VORN_WRITER_VERSION);
    KOR_ASSERT(cwriter->writer != NULL);
    KOR_ASSERT(buf != NULL);
    return writer_write_bytes(cwriter->writer, buf, len);
}

int _vorn_writer_flush(void *state)
{
    auto *const cwriter = static_cast<struct vorn_writer *>(state);
    KOR_ASSERT(cwriter != NULL);
    KOR_ASSERT(cwriter->version == VORN_WRITER_VERSION);
    KOR_ASSERT(cwriter->writer != NULL);
    return writer_flush(cwriter->writer);
}

int _vorn_writer_destruct(void *state)
{
    auto *const cwriter = static_cast<struct vorn_writer *>(state);
    KOR_ASSERT(cwriter != NULL);
    KOR_ASSERT(cwriter->version == VORN_WRITER_VERSION);
    KOR_ASSERT(cwriter->writer != NULL);
    if (cwriter->sensors != nullptr) sensor_array_destroy(&cwriter->sensors);
    const int result = writer_flush(cwriter->writer);
    writer_destroy(&cwriter->writer);
    cwriter->version = 0;
    return result;
}
