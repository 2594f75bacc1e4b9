#include "kor_hist_buffer.h"

#include "buffer_support.hpp"
#include "kor_buffer.h"
#include "support/abort_rows.hpp"

namespace {

using test::at;
using test::bytes;
using test::hist_header;
using test::hist_holder;
using test::inflate_file;
using test::inflate_streams;
using test::list_holder;
using test::memory_reader;
using test::memory_writer;
using test::read_file;
using test::write_streams;
using testing::ElementsAre;

class KorHistBuffer : public test::InScratchFolder {};

// The golden history of the two sensors: the list puts DISK0 READ first.
const std::string stored_names = bytes(
    "00 00 00 01 01 01 45 98 4f 01 00 00 00 00 01 00"
    "00 00 02 01 00 00 00 0a 44 49 53 4b 30 20 52 45"
    "41 44 01 00 00 00 09 43 50 55 30 20 54 65 6d 70");
const std::string stored_first = bytes(
    "00 00 00 02 02 01 45 98 4f 01 00 00 00 00 01 45"
    "98 4f 02 00 00 00 00 00 00 00 02 01 00 00 00 01"
    "44 96 00 00 44 96 00 00 44 96 00 00 44 96 00 00"
    "44 96 00 00 49 af c8 00 4e cd fe 60 53 f1 66 18"
    "01 00 00 00 02 42 36 00 00 42 39 00 00 42 36 00"
    "00 42 39 00 00 42 b7 80 00 45 83 8a 80 48 3c 9a"
    "01 4b 07 37 54 01 00 00 00 00 00 00 00 00 00 00"
    "00 00 00 00 00 00 00 00 00 00");
const std::string stored_second = bytes(
    "00 00 00 02 02 01 45 98 4f 03 00 00 00 00 01 45"
    "98 4f 04 00 00 00 00 00 00 00 02 01 00 00 00 02"
    "44 9c 50 00 44 a2 98 00 44 a2 98 00 44 9c 50 00"
    "45 1f 74 00 4a 46 b6 53 4f 77 bb b6 54 9a 7b c4"
    "01 00 00 00 02 42 37 00 00 42 3c 00 00 42 3c 00"
    "00 42 37 00 00 42 b9 80 00 45 86 70 80 48 42 e7"
    "27 4b 0d 4e 30 01 00 00 00 00 00 00 00 00 00 00"
    "00 01 00 00 00 00 00 00 00 00");

// The samples `from` and the one after it, summarised.
list_holder interval(int from)
{
    list_holder list(hist_value_list_create());
    for (int i = from; i < from + 2; ++i) {
        const test::vector_holder vector = test::sample(i);
        const auto *sensors = telemetry_matrix_get_sensors(vector.get());
        for (int column = 0; column < 2; ++column)
            hist_value_update(
                hist_value_list_add_if_not_present(
                    list.get(), sensor_array_get(sensors, column)),
                static_cast<float>(matrix_get(vector.get(), 0,
                                              static_cast<uint32_t>(column))));
    }
    return list;
}
list_holder list_of(const std::vector<std::string> &names)
{
    list_holder list(hist_value_list_create());
    const test::sensors_holder sensors(test::sensors_named(names));
    for (int i = 0; i < static_cast<int>(names.size()); ++i)
        hist_value_update(hist_value_list_add_if_not_present(
                              list.get(), sensor_array_get(sensors.get(), i)),
                          1.0f);
    return list;
}
struct kor_hb_record_events fan_events()
{
    struct kor_hb_record_events events;
    kor_hb_record_events_init_null(&events);
    events.n_type2 = 1;
    return events;
}

hist_holder create(const char *filename, uint32_t capacity)
{
    return hist_holder(kor_hist_buffer_create(filename, capacity));
}
hist_holder open(const char *filename)
{
    return hist_holder(kor_hist_buffer_open_for_read_write(filename));
}
int write(const hist_holder &hbuf, const list_holder &list, int from,
          const struct kor_hb_record_events *events = nullptr)
{
    const struct timestamp start = at(from);
    const struct timestamp end = at(from + 1);
    return kor_hist_buffer_write_interval(hbuf.get(), &start, &end, list.get(),
                                          events);
}
std::vector<uint32_t> types_left(const hist_holder &hbuf)
{
    std::vector<uint32_t> types;
    struct kor_hb_record rec;
    kor_hb_record_init_null(&rec);
    int result = KOR_OK;
    while ((result = kor_hist_buffer_read_record(hbuf.get(), &rec)) == KOR_OK)
        types.push_back(rec.type);
    EXPECT_EQ(result, KOR_ERR_END_OF_STREAM);
    kor_hb_record_destruct(&rec);
    return types;
}

// --- writing ---

TEST_F(KorHistBuffer, StartsEmpty)
{
    const hist_holder hbuf = create("h", 4);
    EXPECT_EQ(hbuf->version, KOR_HIST_BUFFER_VERSION);
    EXPECT_STREQ(hbuf->filename, "h");
    EXPECT_EQ(hbuf->reader, nullptr);
    EXPECT_NE(hbuf->writer, nullptr);
    EXPECT_EQ(hbuf->max_data_records, 4u);
    EXPECT_EQ(hbuf->size, 0u);
    EXPECT_EQ(kor_hist_buffer_get_number_empty_intervals(hbuf.get()), 4);
    EXPECT_EQ(kor_hist_buffer_get_sensor_working_set(hbuf.get()), nullptr);
    EXPECT_EQ(read_file("h"), "");
}

TEST_F(KorHistBuffer, StoresOneStreamForEachInterval)
{
    const hist_holder hbuf = create("h", 4);
    const struct kor_hb_record_events events = fan_events();
    EXPECT_EQ(write(hbuf, interval(0), 0), KOR_OK);
    EXPECT_EQ(write(hbuf, interval(2), 2, &events), KOR_OK);
    EXPECT_EQ(hbuf->size, 2u);
    EXPECT_EQ(kor_hist_buffer_get_number_empty_intervals(hbuf.get()), 2);
    EXPECT_THAT(inflate_streams("h"),
                ElementsAre(hist_header(4) + stored_names + stored_first,
                            stored_second));
}

TEST_F(KorHistBuffer, AcceptsExactlyItsCapacity)
{
    const hist_holder hbuf = create("h", 2);
    EXPECT_EQ(write(hbuf, interval(0), 0), KOR_OK);
    EXPECT_EQ(write(hbuf, interval(2), 2), KOR_OK);
    const std::string full = read_file("h");
    EXPECT_EQ(write(hbuf, interval(0), 4), KOR_ERR_FULL);
    EXPECT_EQ(write(hbuf, list_of({"x"}), 4), KOR_ERR_FULL);
    EXPECT_EQ(read_file("h"), full);
    EXPECT_EQ(kor_hist_buffer_get_number_empty_intervals(hbuf.get()), 0);
}

TEST_F(KorHistBuffer, ASizeBeyondTheCapacityIsInvalid)
{
    const hist_holder hbuf = create("h", 2);
    hbuf->size = 3;
    EXPECT_EQ(kor_hist_buffer_get_number_empty_intervals(hbuf.get()),
              KOR_ERR_INVALID_DATA);
}

TEST_F(KorHistBuffer, RepeatsTheNamesWhenTheSensorsChange)
{
    const hist_holder hbuf = create("h", 8);
    write(hbuf, interval(0), 0);
    write(hbuf, interval(0), 2);
    write(hbuf, list_of({"x"}), 4);
    const hist_holder read = open("h");
    EXPECT_THAT(types_left(read), ElementsAre(2u, 2u, 1u, 2u));
    EXPECT_EQ(read->size, 3u);
    // The names carry the start of the interval that brought them.
    const struct timestamp t = at(4);
    EXPECT_TRUE(timestamp_is_equal(
        kor_hb_record_sensor_names_get_timestamp(
            kor_hist_buffer_get_sensor_working_set(read.get())),
        &t));
}

TEST_F(KorHistBuffer, AnEmptyListIsRefused)
{
    const hist_holder hbuf = create("h", 4);
    vela_set_last_error(0);
    EXPECT_EQ(write(hbuf, list_holder(hist_value_list_create()), 0),
              KOR_ERR_INVALID_DATA);
    EXPECT_EQ(hbuf->size, 0u);
    EXPECT_EQ(write(hbuf, interval(0), 0), KOR_OK);
    EXPECT_THAT(inflate_streams("h"),
                ElementsAre(hist_header(4) + stored_names + stored_first));
}

TEST_F(KorHistBuffer, MoreThanTenThousandSensorsAreRefused)
{
    std::vector<std::string> names;
    for (int i = 0; i < 10001; ++i) names.push_back("S" + std::to_string(i));
    const hist_holder hbuf = create("h", 4);
    EXPECT_EQ(write(hbuf, list_of(names), 0), KOR_ERR_TOO_LONG);
    EXPECT_EQ(read_file("h"), "");
    EXPECT_EQ(write(hbuf, interval(0), 0), KOR_OK);
    EXPECT_THAT(inflate_streams("h"),
                ElementsAre(hist_header(4) + stored_names + stored_first));
}

// --- reading ---

TEST_F(KorHistBuffer, OpensBehindItsFirstRecord)
{
    write_streams(
        "h", {hist_header(4) + stored_names + stored_first, stored_second});
    const hist_holder hbuf = open("h");
    ASSERT_NE(hbuf, nullptr);
    EXPECT_EQ(hbuf->max_data_records, 4u);
    EXPECT_EQ(hbuf->size, 0u);
    EXPECT_THAT(test::names_of(kor_hb_record_sensor_names_get_sensors(
                    hbuf->hb_rec_sensors_last)),
                ElementsAre("DISK0 READ", "CPU0 Temp"));
    EXPECT_THAT(types_left(hbuf), ElementsAre(2u, 2u));
    EXPECT_EQ(hbuf->size, 2u);
}

TEST_F(KorHistBuffer, TheInnerReadLeavesSizeAndNamesAlone)
{
    write_streams("h", {hist_header(4) + stored_names + stored_first,
                        stored_names + stored_second});
    const hist_holder hbuf = open("h");
    const auto *names = hbuf->hb_rec_sensors_last;
    struct kor_hb_record rec;
    kor_hb_record_init_null(&rec);
    EXPECT_EQ(_kor_hb_read_next_record(hbuf.get(), &rec), KOR_OK);
    EXPECT_EQ(hbuf->size, 0u);
    EXPECT_EQ(_kor_hb_read_next_record(hbuf.get(), &rec), KOR_OK);
    ASSERT_EQ(rec.type, KOR_HB_RECORD_SENSOR_NAMES);
    EXPECT_EQ(hbuf->hb_rec_sensors_last, names);
    _kor_hb_update_sensor_working_set_from_record(hbuf.get(), &rec);
    EXPECT_EQ(hbuf->hb_rec_sensors_last, rec.names);
    EXPECT_EQ(rec.owns_data, 0u);
    kor_hb_record_destruct(&rec);
    EXPECT_EQ(_kor_hb_read_next_record(hbuf.get(), &rec), KOR_OK);
    EXPECT_EQ(_kor_hb_read_next_record(hbuf.get(), &rec),
              KOR_ERR_END_OF_STREAM);
    kor_hb_record_destruct(&rec);
}

TEST_F(KorHistBuffer, ReadsTwoNamesRecordsInARow)
{
    write_streams("h", {hist_header(4) + stored_names, stored_names,
                        stored_names, stored_first});
    const hist_holder hbuf = open("h");
    EXPECT_THAT(types_left(hbuf), ElementsAre(1u, 1u, 2u));
}

TEST_F(KorHistBuffer, ReopensAHeaderOnlyFile)
{
    create("h", 4).reset();
    EXPECT_THAT(inflate_streams("h"), ElementsAre(hist_header(4)));
    const hist_holder hbuf = open("h");
    ASSERT_NE(hbuf, nullptr);
    EXPECT_EQ(hbuf->hb_rec_sensors_last, nullptr);
    EXPECT_THAT(types_left(hbuf), ElementsAre());
}

TEST_F(KorHistBuffer, AWriteInTheMiddleGoesToTheEnd)
{
    {
        const hist_holder hbuf = create("h", 4);
        write(hbuf, interval(0), 0);
        write(hbuf, interval(2), 2);
    }
    const std::string before = inflate_file("h");
    const hist_holder hbuf = open("h");
    EXPECT_EQ(write(hbuf, interval(2), 2), KOR_OK);
    EXPECT_EQ(hbuf->reader, nullptr);
    EXPECT_EQ(hbuf->size, 3u);
    EXPECT_EQ(write(hbuf, interval(2), 2), KOR_OK);
    EXPECT_EQ(write(hbuf, interval(2), 2), KOR_ERR_FULL);
    EXPECT_EQ(inflate_streams("h").size(), 4u);
    EXPECT_EQ(inflate_file("h").substr(0, before.size()), before);
}

TEST_F(KorHistBuffer, AFirstRecordOfValuesIsRefused)
{
    write_streams("h", {hist_header(4) + stored_first});
    EXPECT_EQ(open("h"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_UNKNOWN_KIND);
}

TEST_F(KorHistBuffer, ACurrentBufferIsOfTheOtherKind)
{
    write_streams("c", {test::current_header(4)});
    EXPECT_EQ(open("c"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_OTHER_KIND);
}

TEST_F(KorHistBuffer, AMissingFileOrFolderCannotBeOpened)
{
    EXPECT_EQ(open("missing"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(create("missing/h", 4), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
}

TEST_F(KorHistBuffer, DamageIsReportedWhereItIsRead)
{
    write_streams("h", {hist_header(4) + stored_names + stored_first,
                        bytes("00 00 00 03")});
    const hist_holder hbuf = open("h");
    struct kor_hb_record rec;
    kor_hb_record_init_null(&rec);
    EXPECT_EQ(kor_hist_buffer_read_record(hbuf.get(), &rec), KOR_OK);
    EXPECT_EQ(kor_hist_buffer_read_record(hbuf.get(), &rec),
              KOR_ERR_INVALID_DATA);
    kor_hb_record_destruct(&rec);
    EXPECT_EQ(write(hbuf, interval(0), 0), KOR_ERR_INVALID_DATA);
}

// --- the header ---

struct header_case {
    const char *name;
    const char *stored;
    int result;
};
void PrintTo(const header_case &row, std::ostream *os)
{
    *os << row.name;
}
class KorHistBufferHeader : public testing::TestWithParam<header_case> {};

struct kor_hist_buffer header_only(uint8_t version)
{
    struct kor_hist_buffer hbuf = {};
    hbuf.version = version;
    return hbuf;
}

TEST_P(KorHistBufferHeader, ReadsAs)
{
    struct kor_hist_buffer hbuf = header_only(KOR_HIST_BUFFER_VERSION);
    memory_reader in(bytes(GetParam().stored));
    EXPECT_EQ(binary_serializer_read_kor_hist_buffer(&hbuf, in.get()),
              GetParam().result);
    EXPECT_EQ(hbuf.max_data_records, GetParam().result > 0 ? 258u : 0u);
}

constexpr header_case headers[] = {
    {"Good", "01 00 00 01 02", 5},
    {"Empty", "", 0},
    {"VersionTwo", "02 00 00 01 02", KOR_ERR_WRONG_VERSION},
    {"NoCapacity", "01", KOR_ERR_TRUNCATED},
    {"CutCapacity", "01 00 00 01", KOR_ERR_TRUNCATED},
    {"CapacityZero", "01 00 00 00 00", KOR_ERR_INVALID_DATA},
    {"CapacityThree", "01 00 00 00 03", KOR_ERR_INVALID_DATA},
};
INSTANTIATE_TEST_SUITE_P(Table, KorHistBufferHeader, testing::ValuesIn(headers),
                         [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST_F(KorHistBuffer, HeaderIsVersionAndCapacity)
{
    struct kor_hist_buffer hbuf = header_only(KOR_HIST_BUFFER_VERSION);
    hbuf.max_data_records = 258;
    const std::string stored = bytes("01 00 00 01 02");
    EXPECT_EQ(test::stored_by([&hbuf](struct writer *out) {
                  return binary_serializer_write_kor_hist_buffer(&hbuf, out);
              }),
              stored);
    test::expect_writer_failures_come_through(
        stored, [&hbuf](struct writer *out) {
            return binary_serializer_write_kor_hist_buffer(&hbuf, out);
        });
    test::expect_reader_failures_come_through(
        stored, [&hbuf](struct reader *in) {
            return binary_serializer_read_kor_hist_buffer(&hbuf, in);
        });
}

// --- the caller's own streams ---

TEST_F(KorHistBuffer, AFailureOfACallersWriterComesThrough)
{
    const hist_holder hbuf = create("h", 4);
    struct writer *const own = hbuf->writer;
    memory_writer out;
    hbuf->writer = out.get();
    EXPECT_EQ(write(hbuf, interval(0), 0), KOR_OK);
    EXPECT_EQ(out.bytes(), stored_names + stored_first);
    for (int calls = 0; calls < 5; ++calls) {
        out.fail_after(calls, KOR_ERR_DEFLATE);
        EXPECT_EQ(write(hbuf, interval(2), 2), KOR_ERR_DEFLATE);
        out.fail_after(calls, KOR_ERR_INFLATE);
        EXPECT_EQ(write(hbuf, list_of({"x"}), 2), KOR_ERR_INFLATE);
        out.fail_after(100, KOR_ERR_INFLATE);
        EXPECT_EQ(write(hbuf, interval(2), 2), KOR_OK);
        hbuf->size = 1;
    }
    hbuf->writer = own;
}

// --- memory ---

int with_buffer(struct kor_hist_buffer *hbuf,
                const std::function<int(struct kor_hist_buffer *)> &act)
{
    if (hbuf == nullptr) return vela_get_last_error();
    const int result = act(hbuf);
    kor_hist_buffer_close(&hbuf);
    return result;
}

TEST_F(KorHistBuffer, EveryAllocationFailureWhileWritingIsClean)
{
    const list_holder list = interval(0);
    const struct timestamp start = at(0);
    const struct timestamp end = at(1);
    test::expect_every_allocation_failure_is_clean([&] {
        return with_buffer(kor_hist_buffer_create("h", 4), [&](auto *hbuf) {
            return kor_hist_buffer_write_interval(hbuf, &start, &end,
                                                  list.get(), nullptr);
        });
    });
}

TEST_F(KorHistBuffer, AnAllocationFailureLeavesTheBufferUsable)
{
    const list_holder first = interval(0);
    const list_holder second = interval(2);
    const struct kor_hb_record_events events = fan_events();
    for (int failing = 0; failing < 50; ++failing) {
        hist_holder hbuf = create("h", 4);
        int result;
        {
            const test::failing_allocation fault(failing);
            result = write(hbuf, first, 0);
        }
        if (result == KOR_OK) return;
        EXPECT_EQ(result, KOR_ERR_NO_MEMORY);
        EXPECT_EQ(write(hbuf, first, 0), KOR_OK);
        EXPECT_EQ(write(hbuf, second, 2, &events), KOR_OK);
        hbuf.reset();
        EXPECT_EQ(inflate_file("h"),
                  hist_header(4) + stored_names + stored_first + stored_second);
    }
    FAIL() << "writing an interval takes ever more memory";
}

TEST_F(KorHistBuffer, EveryAllocationFailureWhileReadingIsClean)
{
    write_streams("h", {hist_header(4) + stored_names + stored_first});
    test::expect_every_allocation_failure_is_clean([] {
        return with_buffer(
            kor_hist_buffer_open_for_read_write("h"), [](auto *hbuf) {
                struct kor_hb_record rec;
                kor_hb_record_init_null(&rec);
                const int result = kor_hist_buffer_read_record(hbuf, &rec);
                kor_hb_record_destruct(&rec);
                return result;
            });
    });
}

// --- traces ---

TEST_F(KorHistBuffer, TracesCreationAndClose)
{
    test::traces().clear();
    hist_holder hbuf = create("h", 4);
    write(hbuf, interval(0), 0);
    const std::string size = std::to_string(read_file("h").size());
    hbuf.reset();
    const auto &lines = test::traces();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text,
              "kor_hist_buffer_create: file='h', max_data_records=4");
    EXPECT_EQ(lines[1].text, "kor_hist_buffer_close: file='h', size=" + size +
                                 ", max_data_records=4");
    for (const test::trace_line &line : lines) {
        EXPECT_EQ(line.level, 150);
        EXPECT_EQ(line.a, -1);
        EXPECT_EQ(line.b, 39);
    }
    EXPECT_NE(lines[0].message_id, lines[1].message_id);
}

// The size is that before the last stream goes out.
TEST_F(KorHistBuffer, TracesTheSizeBeforeTheHeaderGoesOut)
{
    hist_holder hbuf = create("h", 4);
    test::traces().clear();
    hbuf.reset();
    ASSERT_EQ(test::traces().size(), 1u);
    EXPECT_EQ(test::traces()[0].text,
              "kor_hist_buffer_close: file='h', size=0, max_data_records=4");
    EXPECT_GT(read_file("h").size(), 0u);
}

// --- aborts ---

struct kor_hist_buffer *live()
{
    static struct kor_hist_buffer hbuf;
    static char filename[] = "h";
    static memory_writer out;
    hbuf = header_only(KOR_HIST_BUFFER_VERSION);
    hbuf.filename = filename;
    hbuf.writer = out.get();
    hbuf.max_data_records = 4;
    return &hbuf;
}
struct kor_hist_buffer *dead()
{
    live()->version = 0;
    static struct kor_hist_buffer hbuf;
    hbuf = *live();
    hbuf.version = 0;
    return &hbuf;
}
struct kor_hist_buffer *changed(void (*change)(struct kor_hist_buffer &))
{
    struct kor_hist_buffer *const hbuf = live();
    change(*hbuf);
    return hbuf;
}
void close(struct kor_hist_buffer *hbuf)
{
    kor_hist_buffer_close(&hbuf);
}
void write_interval(struct kor_hist_buffer *hbuf, bool has_start, bool has_end,
                    bool has_list)
{
    const struct timestamp t = at(0);
    const list_holder list(hist_value_list_create());
    kor_hist_buffer_write_interval(hbuf, has_start ? &t : nullptr,
                                   has_end ? &t : nullptr,
                                   has_list ? list.get() : nullptr, nullptr);
}
struct kor_hb_record *record()
{
    static struct kor_hb_record rec;
    kor_hb_record_init_null(&rec);
    return &rec;
}
struct reader *source()
{
    static memory_reader in("");
    return in.get();
}
struct writer *sink()
{
    static memory_writer out;
    return out.get();
}

constexpr char version_text[] = "hbuf->version == KOR_HIST_BUFFER_VERSION";

class KorHistBufferDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(KorHistBufferDeathTest,
               {"CreateOfNull", "filename != NULL",
                [] {
                    kor_hist_buffer_create(nullptr, 4);
                }},
               {"CreateOfCapacityZero", "max_data_records != 0",
                [] {
                    kor_hist_buffer_create("h", 0);
                }},
               {"OpenNull", "filename != NULL",
                [] {
                    kor_hist_buffer_open_for_read_write(nullptr);
                }},
               {"InnerOpenWithoutName", "filename != NULL",
                [] {
                    _kor_hist_buffer_open(nullptr, source(), stdin);
                }},
               {"InnerOpenWithoutReader", "reader != NULL",
                [] {
                    _kor_hist_buffer_open("h", nullptr, stdin);
                }},
               {"InnerOpenWithoutFile", "fp != NULL",
                [] {
                    _kor_hist_buffer_open("h", source(), nullptr);
                }},
               {"CloseNull", "hbuf != NULL",
                [] {
                    kor_hist_buffer_close(nullptr);
                }},
               {"CloseOfNull", "*hbuf != NULL",
                [] {
                    close(nullptr);
                }},
               {"CloseDead", "(*hbuf)->version == KOR_HIST_BUFFER_VERSION",
                [] {
                    close(dead());
                }},
               {"CloseWithoutName", "(*hbuf)->filename != NULL",
                [] {
                    close(changed([](auto &h) { h.filename = nullptr; }));
                }},
               {"CloseWithoutWriter", "(*hbuf)->writer != NULL",
                [] {
                    close(changed([](auto &h) { h.writer = nullptr; }));
                }},
               {"WriteToNull", "hbuf != NULL",
                [] {
                    write_interval(nullptr, true, true, true);
                }},
               {"WriteToDead", version_text,
                [] {
                    write_interval(dead(), true, true, true);
                }},
               {"WriteWithoutWriter", "hbuf->writer != NULL",
                [] {
                    write_interval(changed([](auto &h) { h.writer = nullptr; }),
                                   true, true, true);
                }},
               {"WriteWithoutStart", "start != NULL",
                [] {
                    write_interval(live(), false, true, true);
                }},
               {"WriteWithoutEnd", "end != NULL",
                [] {
                    write_interval(live(), true, false, true);
                }},
               {"WriteWithoutList", "hvlist != NULL",
                [] {
                    write_interval(live(), true, true, false);
                }},
               {"ReadFromNull", "hbuf != NULL",
                [] {
                    kor_hist_buffer_read_record(nullptr, record());
                }},
               {"ReadFromDead", version_text,
                [] {
                    kor_hist_buffer_read_record(dead(), record());
                }},
               {"ReadWithoutReader", "hbuf->reader != NULL",
                [] {
                    kor_hist_buffer_read_record(live(), record());
                }},
               {"ReadIntoNull", "rec != NULL",
                [] {
                    kor_hist_buffer_read_record(
                        changed([](auto &h) { h.reader = source(); }), nullptr);
                }},
               {"InnerReadFromNull", "hbuf != NULL",
                [] {
                    _kor_hb_read_next_record(nullptr, record());
                }},
               {"InnerReadWithoutReader", "hbuf->reader != NULL",
                [] {
                    _kor_hb_read_next_record(live(), record());
                }},
               {"InnerReadIntoNull", "rec != NULL",
                [] {
                    _kor_hb_read_next_record(
                        changed([](auto &h) { h.reader = source(); }), nullptr);
                }},
               {"AdoptIntoNull", "hbuf != NULL",
                [] {
                    _kor_hb_update_sensor_working_set_from_record(nullptr,
                                                                  record());
                }},
               {"AdoptNull", "rec != NULL",
                [] {
                    _kor_hb_update_sensor_working_set_from_record(live(),
                                                                  nullptr);
                }},
               {"EmptyIntervalsOfNull", "hbuf != NULL",
                [] {
                    kor_hist_buffer_get_number_empty_intervals(nullptr);
                }},
               {"EmptyIntervalsOfDead", version_text,
                [] {
                    kor_hist_buffer_get_number_empty_intervals(dead());
                }},
               {"WorkingSetOfNull", "hbuf != NULL",
                [] {
                    kor_hist_buffer_get_sensor_working_set(nullptr);
                }},
               {"WorkingSetOfDead", version_text,
                [] {
                    kor_hist_buffer_get_sensor_working_set(dead());
                }},
               {"StoreNull", "hbuf != NULL",
                [] {
                    binary_serializer_write_kor_hist_buffer(nullptr, sink());
                }},
               {"StoreToNull", "writer != NULL",
                [] {
                    binary_serializer_write_kor_hist_buffer(live(), nullptr);
                }},
               {"StoreDead", version_text,
                [] {
                    binary_serializer_write_kor_hist_buffer(dead(), sink());
                }},
               {"RestoreNull", "hbuf != NULL",
                [] {
                    binary_serializer_read_kor_hist_buffer(nullptr, source());
                }},
               {"RestoreFromNull", "reader != NULL",
                [] {
                    binary_serializer_read_kor_hist_buffer(live(), nullptr);
                }},
               {"RestoreDead", version_text, [] {
                    binary_serializer_read_kor_hist_buffer(dead(), source());
                }});

}  // namespace
