#include "kor_hist_buffer.h"

#include "common/contract.hpp"
#include "kor_buffer.h"
#include "platform.h"
#include "recorder/buffer_body.hpp"
#include "recorder/trace.hpp"

namespace {

struct hist_kind {
    using buffer = struct kor_hist_buffer;
    using record = struct kor_hb_record;
    static constexpr uint8_t version = KOR_HIST_BUFFER_VERSION;
    static constexpr auto names = &buffer::hb_rec_sensors_last;
    static constexpr uint32_t names_type = KOR_HB_RECORD_SENSOR_NAMES;
    static constexpr auto init_null = kor_hb_record_init_null;
    static constexpr auto init_names = kor_hb_record_init_sensor_names;
    static constexpr auto detach = kor_hb_record_detach;
    static constexpr auto destruct = kor_hb_record_destruct;
    static constexpr auto write = binary_serializer_write_kor_hb_record;
    static constexpr auto read = binary_serializer_read_kor_hb_record;
    static constexpr auto destroy_names = kor_hb_record_sensor_names_destroy;
    static constexpr auto init_handle = kor_buffer_init_hist_buffer;
    static constexpr auto read_header = binary_serializer_read_kor_hist_buffer;
    static constexpr auto read_record = kor_hist_buffer_read_record;
    static constexpr auto close = kor_hist_buffer_close;
    static void expect_known(const record &rec)
    {
        KOR_ASSERT(rec.type == KOR_HB_RECORD_SENSOR_NAMES ||
                   rec.type == KOR_HB_RECORD_SENSOR_VALUES);
    }
};
using body = vela::buffer_body<hist_kind>;

}  // namespace

struct kor_hist_buffer *kor_hist_buffer_create(const char *filename,
                                               uint32_t max_data_records)
{
    KOR_ASSERT(filename != NULL);
    KOR_ASSERT(max_data_records != 0);
    sp_trace_printf(vela::trace_file, vela::trace_unit, vela::trace_component,
                    vela::trace_hbuf_create,
                    "kor_hist_buffer_create: file='%s', max_data_records=%d",
                    filename, static_cast<int>(max_data_records));
    struct kor_hist_buffer *hbuf = body::create(filename, max_data_records);
    if (hbuf == nullptr) return nullptr;
    const int nwritten = body::write_header(*hbuf);
    if (nwritten < 0) {
        kor_hist_buffer_close(&hbuf);
        return vela::fail(nwritten);
    }
    return hbuf;
}

struct kor_hist_buffer *kor_hist_buffer_open_for_read_write(
    const char *filename)
{
    KOR_ASSERT(filename != NULL);
    return body::open_by_handle(filename, KOR_BUFFER_TYPE_HIST);
}

struct kor_hist_buffer *_kor_hist_buffer_open(const char *filename,
                                              struct reader *reader, FILE *fp)
{
    KOR_ASSERT(filename != NULL);
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(fp != NULL);
    return body::open(filename, reader, fp);
}

void kor_hist_buffer_close(struct kor_hist_buffer **hbuf)
{
    KOR_ASSERT(hbuf != NULL);
    KOR_ASSERT(*hbuf != NULL);
    KOR_ASSERT((*hbuf)->version == KOR_HIST_BUFFER_VERSION);
    KOR_ASSERT((*hbuf)->filename != NULL);
    KOR_ASSERT((*hbuf)->writer != NULL);
    const off_t length =
        (*hbuf)->fp != nullptr ? vela::file_length((*hbuf)->fp) : -1;
    sp_trace_printf(
        vela::trace_file, vela::trace_unit, vela::trace_component,
        vela::trace_hbuf_close,
        "kor_hist_buffer_close: file='%s', size=%ld, max_data_records=%d",
        (*hbuf)->filename, static_cast<long>(length < 0 ? 0 : length),
        static_cast<int>((*hbuf)->max_data_records));
    body::close(hbuf);
}

static bool _kor_hb_have_sensors_changed(const struct kor_hist_buffer *hbuf,
                                         const struct hist_value_list *hvlist)
{
    if (hbuf->hb_rec_sensors_last == nullptr) return true;
    return !hist_value_list_are_sensors_equal(
        hvlist,
        kor_hb_record_sensor_names_get_sensors(hbuf->hb_rec_sensors_last));
}

static int _kor_hb_replace_names(struct kor_hist_buffer *hbuf,
                                 const struct timestamp *start,
                                 struct hist_value_list *hvlist)
{
    body::drop_names(*hbuf);
    body::set_names(*hbuf, kor_hb_record_sensor_names_create(start, hvlist));
    if (hbuf->hb_rec_sensors_last != nullptr) return KOR_OK;
    KOR_ASSERT(vela_get_last_error() < 0);
    return vela_get_last_error();
}

static int _kor_hb_write_values(struct kor_hist_buffer *hbuf,
                                struct kor_hb_record_sensor_values *values)
{
    struct kor_hb_record rec;
    kor_hb_record_init_sensor_values(&rec, values);
    const int nwritten = body::write(*hbuf, rec);
    kor_hb_record_destruct(&rec);
    return nwritten;
}

// Names, if they are new, and values share one stream.
static int _kor_hb_write_records(struct kor_hist_buffer *hbuf,
                                 struct kor_hb_record_sensor_values *values,
                                 bool brings_names)
{
    const int begun = body::begin_stream(*hbuf);
    if (begun < 0) return begun;
    if (brings_names) {
        const int nwritten = body::write_names(*hbuf);
        if (nwritten < 0) return body::undo(*hbuf, nwritten);
    }
    return body::end_stream(*hbuf, _kor_hb_write_values(hbuf, values));
}

int kor_hist_buffer_write_interval(struct kor_hist_buffer *hbuf,
                                   const struct timestamp *start,
                                   const struct timestamp *end,
                                   struct hist_value_list *hvlist,
                                   const struct kor_hb_record_events *events)
{
    KOR_ASSERT(hbuf != NULL);
    KOR_ASSERT(hbuf->version == KOR_HIST_BUFFER_VERSION);
    KOR_ASSERT(hbuf->writer != NULL);
    KOR_ASSERT(start != NULL);
    KOR_ASSERT(end != NULL);
    KOR_ASSERT(hvlist != NULL);
    const int ready = body::catch_up(*hbuf);
    if (ready < 0) return ready;
    if (hbuf->size == hbuf->max_data_records) return KOR_ERR_FULL;
    if (hist_value_list_get_size(hvlist) > vela::max_serialized_count)
        return KOR_ERR_TOO_LONG;
    const bool brings_names = _kor_hb_have_sensors_changed(hbuf, hvlist) ||
                              body::names_are_missing(*hbuf);
    if (brings_names) {
        const int replaced = _kor_hb_replace_names(hbuf, start, hvlist);
        if (replaced < 0) return replaced;
    }
    struct kor_hb_record_sensor_values values;
    const int made =
        kor_hb_record_sensor_values_init(&values, start, end, hvlist, events);
    if (made < 0) return made;
    const int written = _kor_hb_write_records(hbuf, &values, brings_names);
    kor_hb_record_sensor_values_destruct(&values);
    if (written < 0) return written;
    ++hbuf->size;
    body::stop_reading(*hbuf);
    return KOR_OK;
}

int _kor_hb_read_next_record(struct kor_hist_buffer *hbuf,
                             struct kor_hb_record *rec)
{
    KOR_ASSERT(hbuf != NULL);
    KOR_ASSERT(hbuf->version == KOR_HIST_BUFFER_VERSION);
    KOR_ASSERT(hbuf->reader != NULL);
    KOR_ASSERT(rec != NULL);
    const int nread = body::read(*hbuf, *rec);
    if (nread < 0) return nread;
    if (nread == 0) {
        KOR_ASSERT(reader_eof(hbuf->reader));
        return KOR_ERR_END_OF_STREAM;
    }
    return KOR_OK;
}

void _kor_hb_update_sensor_working_set_from_record(struct kor_hist_buffer *hbuf,
                                                   struct kor_hb_record *rec)
{
    KOR_ASSERT(hbuf != NULL);
    KOR_ASSERT(rec != NULL);
    KOR_ASSERT(rec->type == KOR_HB_RECORD_SENSOR_NAMES);
    KOR_ASSERT(rec->names != NULL);
    body::adopt_names(*hbuf, *rec);
}

int kor_hist_buffer_read_record(struct kor_hist_buffer *hbuf,
                                struct kor_hb_record *rec)
{
    KOR_ASSERT(hbuf != NULL);
    KOR_ASSERT(hbuf->version == KOR_HIST_BUFFER_VERSION);
    KOR_ASSERT(hbuf->reader != NULL);
    KOR_ASSERT(rec != NULL);
    const int result = _kor_hb_read_next_record(hbuf, rec);
    if (result < 0) return result;
    if (rec->type == KOR_HB_RECORD_SENSOR_NAMES)
        _kor_hb_update_sensor_working_set_from_record(hbuf, rec);
    if (rec->type == KOR_HB_RECORD_SENSOR_VALUES) ++hbuf->size;
    return KOR_OK;
}

int32_t kor_hist_buffer_get_number_empty_intervals(
    const struct kor_hist_buffer *hbuf)
{
    KOR_ASSERT(hbuf != NULL);
    KOR_ASSERT(hbuf->version == KOR_HIST_BUFFER_VERSION);
    if (hbuf->size > hbuf->max_data_records) return KOR_ERR_INVALID_DATA;
    return static_cast<int32_t>(hbuf->max_data_records - hbuf->size);
}

kor_hb_record_sensor_names *kor_hist_buffer_get_sensor_working_set(
    const struct kor_hist_buffer *hbuf)
{
    KOR_ASSERT(hbuf != NULL);
    KOR_ASSERT(hbuf->version == KOR_HIST_BUFFER_VERSION);
    return hbuf->hb_rec_sensors_last;
}

int binary_serializer_write_kor_hist_buffer(const struct kor_hist_buffer *hbuf,
                                            struct writer *writer)
{
    KOR_ASSERT(hbuf != NULL);
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(hbuf->version == KOR_HIST_BUFFER_VERSION);
    return vela::write_buffer_header(hbuf->version, hbuf->max_data_records,
                                     writer);
}

int binary_serializer_read_kor_hist_buffer(struct kor_hist_buffer *hbuf,
                                           struct reader *reader)
{
    KOR_ASSERT(hbuf != NULL);
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(hbuf->version == KOR_HIST_BUFFER_VERSION);
    uint32_t capacity = 0;
    const int nread = vela::read_buffer_header(hbuf->version, capacity, reader);
    if (nread > 0) hbuf->max_data_records = capacity;
    return nread;
}
