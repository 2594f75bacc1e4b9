#include "kor_current_buffer.h"

#include "common/contract.hpp"
#include "kor_buffer.h"
#include "platform.h"
#include "recorder/buffer_body.hpp"
#include "recorder/names_handover.hpp"
#include "recorder/record_limits.hpp"
#include "recorder/trace.hpp"
#include "telemetry_matrix.h"

namespace {

struct current_kind {
    using buffer = struct kor_current_buffer;
    using record = struct kor_cb_record;
    static constexpr uint8_t version = KOR_CURRENT_BUFFER_VERSION;
    static constexpr auto names = &buffer::names;
    static constexpr uint32_t names_type = KOR_CB_RECORD_SENSOR_NAMES;
    static constexpr auto init_null = kor_cb_record_init_null;
    static constexpr auto init_names = kor_cb_record_init_sensor_names;
    static constexpr auto detach = kor_cb_record_detach;
    static constexpr auto destruct = kor_cb_record_destruct;
    static constexpr auto write = binary_serializer_write_kor_cb_record;
    static constexpr auto read = binary_serializer_read_kor_cb_record;
    static constexpr auto destroy_names = kor_cb_record_sensor_names_destroy;
    static constexpr auto init_handle = kor_buffer_init_current_buffer;
    static constexpr auto read_header =
        binary_serializer_read_kor_current_buffer;
    static constexpr auto read_record = kor_current_buffer_read_record;
    static constexpr auto close = kor_current_buffer_close;
    static void expect_known(const record &rec)
    {
        KOR_ASSERT(rec.type == KOR_CB_RECORD_SENSOR_NAMES ||
                   rec.type == KOR_CB_RECORD_SENSOR_VALUES ||
                   rec.type == KOR_CB_RECORD_EVENT);
    }
};
using body = vela::buffer_body<current_kind>;

}  // namespace

struct kor_current_buffer *kor_current_buffer_create(const char *filename,
                                                     int32_t max_data_records)
{
    KOR_ASSERT(filename != NULL);
    KOR_ASSERT(max_data_records > 0);
    sp_trace_printf(vela::trace_file, vela::trace_unit, vela::trace_component,
                    vela::trace_cbuf_create,
                    "kor_current_buffer_create: file='%s', max_data_records=%d",
                    filename, max_data_records);
    struct kor_current_buffer *cbuf = body::create(filename, max_data_records);
    if (cbuf == nullptr) {
        KOR_ASSERT(vela_get_last_error() < 0);
        return nullptr;
    }
    if (body::write_header(*cbuf) < 0) {
        kor_current_buffer_close(&cbuf);
        return vela::fail(KOR_ERR_DEFLATE);
    }
    return cbuf;
}

struct kor_current_buffer *kor_current_buffer_open_for_read_write(
    const char *filename)
{
    KOR_ASSERT(filename != NULL);
    return body::open_by_handle(filename, KOR_BUFFER_TYPE_CURRENT);
}

struct kor_current_buffer *kor_current_buffer_open_for_append(
    const char *filename)
{
    KOR_ASSERT(filename != NULL);
    struct kor_current_buffer *cbuf =
        kor_current_buffer_open_for_read_write(filename);
    if (cbuf == nullptr) return nullptr;
    const int result = body::read_to_end(*cbuf);
    if (result == KOR_OK) return cbuf;
    kor_current_buffer_close(&cbuf);
    return vela::fail(result);
}

struct kor_current_buffer *_kor_current_buffer_open(const char *filename,
                                                    struct reader *reader,
                                                    FILE *fp)
{
    KOR_ASSERT(filename != NULL);
    KOR_ASSERT(fp != NULL);
    KOR_ASSERT(reader != NULL);
    return body::open(filename, reader, fp);
}

void kor_current_buffer_close(struct kor_current_buffer **cbuf)
{
    KOR_ASSERT(cbuf != NULL);
    KOR_ASSERT(*cbuf != NULL);
    KOR_ASSERT((*cbuf)->version == KOR_CURRENT_BUFFER_VERSION);
    KOR_ASSERT((*cbuf)->filename != NULL);
    KOR_ASSERT((*cbuf)->writer != NULL);
    body::close(cbuf);
}

// The order of the columns counts: values are stored by position.
static bool _kor_cb_have_sensors_changed(const struct kor_current_buffer *cbuf,
                                         const struct matrix *vector)
{
    KOR_ASSERT(telemetry_matrix_get_sensors(vector) != NULL);
    if (cbuf->names == nullptr) return true;
    return !sensor_array_is_equal(
        telemetry_matrix_get_sensors(vector),
        kor_cb_record_sensor_names_get_sensors(cbuf->names));
}

static int _kor_cb_replace_names(struct kor_current_buffer *cbuf,
                                 struct matrix *vector)
{
    const int storable =
        vela::check_names(*telemetry_matrix_get_sensors(vector));
    if (storable < 0) return storable;
    body::drop_names(*cbuf);
    body::set_names(*cbuf, kor_cb_record_sensor_names_create(vector));
    if (cbuf->names != nullptr) return KOR_OK;
    KOR_ASSERT(vela_get_last_error() < 0);
    return vela_get_last_error();
}

static int _kor_cb_write_values(struct kor_current_buffer *cbuf,
                                struct matrix *vector)
{
    struct kor_cb_record_sensor_values values;
    kor_cb_record_sensor_values_init(&values, vector);
    struct kor_cb_record rec;
    kor_cb_record_init_sensor_values(&rec, &values);
    const int nwritten = body::write(*cbuf, rec);
    kor_cb_record_destruct(&rec);
    kor_cb_record_sensor_values_destruct(&values);
    return nwritten;
}

// Names, if they are new, and values share one stream: a reader finds both or
// neither.
static int _kor_cb_write_sample(struct kor_current_buffer *cbuf,
                                struct matrix *vector)
{
    const bool brings_names = _kor_cb_have_sensors_changed(cbuf, vector) ||
                              body::names_are_missing(*cbuf);
    if (telemetry_matrix_get_number_sensors(vector) >
        vela::max_serialized_count)
        return KOR_ERR_TOO_LONG;
    if (brings_names) {
        const int replaced = _kor_cb_replace_names(cbuf, vector);
        if (replaced < 0) return replaced;
    }
    const int begun = body::begin_stream(*cbuf);
    if (begun < 0) return begun;
    if (brings_names) {
        // Part of the interface: the working set stays the new one even if its
        // record was not written.
        const int nwritten = body::write_names(*cbuf);
        if (nwritten < 0) return body::undo(*cbuf, nwritten);
    }
    return body::end_stream(*cbuf, _kor_cb_write_values(cbuf, vector));
}

int kor_current_buffer_write_telemetry_vector(struct kor_current_buffer *cbuf,
                                              struct matrix *vector)
{
    KOR_ASSERT(cbuf != NULL);
    sp_trace_printf(vela::trace_vector, vela::trace_unit, vela::trace_component,
                    vela::trace_cbuf_write,
                    "kor_current_buffer_write_telemetry_vector: "
                    "filename='%s', size=%d of %d",
                    cbuf->filename, cbuf->size, cbuf->max_data_records);
    KOR_ASSERT(cbuf->version == KOR_CURRENT_BUFFER_VERSION);
    KOR_ASSERT(vector != NULL);
    KOR_ASSERT(matrix_get_number_rows(vector) == 1);
    const int ready = body::catch_up(*cbuf);
    if (ready < 0) return ready;
    // Part of the interface: equality, not "at least", is the test.
    if (cbuf->size == cbuf->max_data_records) {
        sp_trace_printf(vela::trace_file, vela::trace_unit,
                        vela::trace_component, vela::trace_cbuf_full,
                        "kor_current_buffer_write_telemetry_vector: "
                        "filename='%s' is full. size=%d",
                        cbuf->filename, cbuf->size);
        return KOR_ERR_FULL;
    }
    const int written = _kor_cb_write_sample(cbuf, vector);
    if (written < 0) return written;
    ++cbuf->size;
    body::stop_reading(*cbuf);
    return KOR_OK;
}

int kor_current_buffer_write_event(struct kor_current_buffer *cbuf,
                                   struct kor_cb_record_event *event)
{
    KOR_ASSERT(cbuf != NULL);
    KOR_ASSERT(cbuf->version == KOR_CURRENT_BUFFER_VERSION);
    KOR_ASSERT(cbuf->writer != NULL);
    KOR_ASSERT(event != NULL);
    const int storable = vela::check_text(event->text);
    if (storable < 0) return storable;
    const int ready = body::catch_up(*cbuf);
    if (ready < 0) return ready;
    body::stop_reading(*cbuf);
    const int begun = body::begin_stream(*cbuf);
    if (begun < 0) return begun;
    // What stands first in a file must be names, where there are any.
    if (body::owes_names(*cbuf)) {
        const int nwritten = body::write_names(*cbuf);
        if (nwritten < 0) return body::undo(*cbuf, nwritten);
    }
    struct kor_cb_record rec;
    kor_cb_record_init_event(&rec, event);
    const int nwritten = body::write(*cbuf, rec);
    kor_cb_record_destruct(&rec);
    return body::end_stream(*cbuf, nwritten);
}

int kor_current_buffer_read_record(struct kor_current_buffer *cbuf,
                                   struct kor_cb_record *rec)
{
    KOR_ASSERT(cbuf != NULL);
    KOR_ASSERT(cbuf->version == KOR_CURRENT_BUFFER_VERSION);
    KOR_ASSERT(cbuf->reader != NULL);
    KOR_ASSERT(rec != NULL);
    const int nread = body::read(*cbuf, *rec);
    if (nread < 0) return nread;
    if (nread == 0) {
        KOR_ASSERT(reader_eof(cbuf->reader));
        return KOR_ERR_END_OF_STREAM;
    }
    if (rec->type == KOR_CB_RECORD_SENSOR_NAMES) {
        KOR_ASSERT(rec->names != NULL);
        body::adopt_names(*cbuf, *rec);
    }
    if (rec->type == KOR_CB_RECORD_SENSOR_VALUES) ++cbuf->size;
    return KOR_OK;
}

void vela::hand_over_names(struct kor_current_buffer *from,
                           struct kor_current_buffer *to) noexcept
{
    body::hand_over_names(*from, *to);
}

const char *kor_current_buffer_get_filename(
    const struct kor_current_buffer *cbuf)
{
    KOR_ASSERT(cbuf != NULL);
    KOR_ASSERT(cbuf->version == KOR_CURRENT_BUFFER_VERSION);
    KOR_ASSERT(cbuf->filename != NULL);
    return cbuf->filename;
}

struct kor_cb_record_sensor_names *kor_current_buffer_get_sensor_working_set(
    const struct kor_current_buffer *cbuf)
{
    KOR_ASSERT(cbuf != NULL);
    KOR_ASSERT(cbuf->version == KOR_CURRENT_BUFFER_VERSION);
    return cbuf->names;
}

int binary_serializer_write_kor_current_buffer(
    const struct kor_current_buffer *cbuf, struct writer *writer)
{
    KOR_ASSERT(cbuf != NULL);
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(cbuf->version == 1);
    return vela::write_buffer_header(
        cbuf->version, static_cast<uint32_t>(cbuf->max_data_records), writer);
}

int binary_serializer_read_kor_current_buffer(struct kor_current_buffer *cbuf,
                                              struct reader *reader)
{
    KOR_ASSERT(cbuf != NULL);
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(cbuf->version == 1);
    uint32_t capacity = 0;
    const int nread = vela::read_buffer_header(cbuf->version, capacity, reader);
    if (nread > 0) cbuf->max_data_records = static_cast<int32_t>(capacity);
    return nread;
}
