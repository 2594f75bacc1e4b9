#include "kor_current_buffer.h"

#include "buffer_support.hpp"
#include "kor_buffer.h"
#include "support/abort_rows.hpp"
#include "support/lent.hpp"
#include "zlib_writer.h"

namespace {

using test::at;
using test::bytes;
using test::current_header;
using test::current_holder;
using test::deflate_stream;
using test::event_of;
using test::fan_fail;
using test::inflate_file;
using test::inflate_streams;
using test::memory_reader;
using test::memory_writer;
using test::read_file;
using test::sample;
using test::stored_event;
using test::stored_names;
using test::stored_names_at;
using test::stored_sample_0;
using test::stored_sample_1;
using test::write_file;
using test::write_streams;
using testing::ElementsAre;

class KorCurrentBuffer : public test::InScratchFolder {};

int write(const current_holder &cbuf, const test::vector_holder &vector)
{
    return kor_current_buffer_write_telemetry_vector(cbuf.get(), vector.get());
}
int write(const current_holder &cbuf, const test::event_holder &event)
{
    return kor_current_buffer_write_event(cbuf.get(), event.get());
}
current_holder create(const char *filename, int32_t capacity)
{
    return current_holder(kor_current_buffer_create(filename, capacity));
}
current_holder open_for_append(const char *filename)
{
    return current_holder(kor_current_buffer_open_for_append(filename));
}
current_holder open_for_read_write(const char *filename)
{
    return current_holder(kor_current_buffer_open_for_read_write(filename));
}

// The types of the records that are left to be read.
std::vector<uint32_t> types_left(const current_holder &cbuf)
{
    std::vector<uint32_t> types;
    struct kor_cb_record rec;
    kor_cb_record_init_null(&rec);
    int result = KOR_OK;
    while ((result = kor_current_buffer_read_record(cbuf.get(), &rec)) ==
           KOR_OK)
        types.push_back(rec.type);
    EXPECT_EQ(result, KOR_ERR_END_OF_STREAM);
    kor_cb_record_destruct(&rec);
    return types;
}

// A file of two samples, an event and 139 bytes.
void write_golden(const char *filename)
{
    const current_holder cbuf = create(filename, 4);
    ASSERT_EQ(write(cbuf, sample(0)), KOR_OK);
    ASSERT_EQ(write(cbuf, sample(1)), KOR_OK);
    ASSERT_EQ(write(cbuf, fan_fail()), KOR_OK);
}

// --- writing ---

TEST_F(KorCurrentBuffer, StartsEmpty)
{
    const current_holder cbuf = create("c", 4);
    EXPECT_EQ(cbuf->version, KOR_CURRENT_BUFFER_VERSION);
    EXPECT_STREQ(kor_current_buffer_get_filename(cbuf.get()), "c");
    EXPECT_NE(cbuf->filename, std::string("c").c_str());
    EXPECT_NE(cbuf->fp, nullptr);
    EXPECT_EQ(cbuf->reader, nullptr);
    EXPECT_NE(cbuf->writer, nullptr);
    EXPECT_EQ(cbuf->max_data_records, 4);
    EXPECT_EQ(cbuf->size, 0);
    EXPECT_EQ(kor_current_buffer_get_sensor_working_set(cbuf.get()), nullptr);
    EXPECT_EQ(read_file("c"), "");
}

TEST_F(KorCurrentBuffer, StoresOneStreamForEachRecordOrNamesWithValues)
{
    write_golden("c");
    EXPECT_THAT(inflate_streams("c"),
                ElementsAre(current_header(4) + stored_names + stored_sample_0,
                            stored_sample_1, stored_event));
}

TEST_F(KorCurrentBuffer, EachRecordIsInTheFileWhenItsCallReturns)
{
    const current_holder cbuf = create("c", 4);
    write(cbuf, sample(0));
    EXPECT_EQ(inflate_streams("c").size(), 1u);
    write(cbuf, sample(1));
    EXPECT_EQ(inflate_streams("c").size(), 2u);
    write(cbuf, fan_fail());
    EXPECT_EQ(inflate_streams("c").size(), 3u);
}

TEST_F(KorCurrentBuffer, ClosingAnUnusedBufferStoresItsHeader)
{
    create("c", 4).reset();
    EXPECT_THAT(inflate_streams("c"), ElementsAre(current_header(4)));
}

TEST_F(KorCurrentBuffer, TruncatesAnOlderFile)
{
    write_file("c", "old");
    const current_holder cbuf = create("c", 4);
    EXPECT_EQ(read_file("c"), "");
}

TEST_F(KorCurrentBuffer, AcceptsExactlyItsCapacityAndEventsBeyond)
{
    const current_holder cbuf = create("c", 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(write(cbuf, sample(i)), KOR_OK);
        EXPECT_EQ(cbuf->size, i + 1);
    }
    const std::string full = read_file("c");
    EXPECT_EQ(write(cbuf, sample(4)), KOR_ERR_FULL);
    EXPECT_EQ(read_file("c"), full);
    EXPECT_EQ(write(cbuf, fan_fail()), KOR_OK);
    EXPECT_EQ(cbuf->size, 4);
    EXPECT_EQ(inflate_streams("c").back(), stored_event);
    EXPECT_EQ(write(cbuf, sample(4)), KOR_ERR_FULL);
}

TEST_F(KorCurrentBuffer, AFullBufferDoesNotLookAtTheSensors)
{
    const current_holder cbuf = create("c", 2);
    write(cbuf, sample(0));
    write(cbuf, sample(1));
    const auto *names = cbuf->names;
    EXPECT_EQ(write(cbuf, test::wide_vector(3, at(2))), KOR_ERR_FULL);
    EXPECT_EQ(cbuf->names, names);
}

TEST_F(KorCurrentBuffer, RepeatsTheNamesWhenTheSensorsChange)
{
    const current_holder cbuf = create("c", 8);
    write(cbuf, sample(0));
    write(cbuf, sample(1));
    write(cbuf, test::vector_of({"DISK0 READ", "CPU0 Temp"}, at(2), {1, 2}));
    write(cbuf, test::vector_of({"DISK0 READ"}, at(3), {1}));
    cbuf->reader = nullptr;
    const current_holder read = open_for_read_write("c");
    EXPECT_THAT(types_left(read), ElementsAre(2u, 2u, 1u, 2u, 1u, 2u));
    EXPECT_THAT(test::names_of(kor_cb_record_sensor_names_get_sensors(
                    kor_current_buffer_get_sensor_working_set(read.get()))),
                ElementsAre("DISK0 READ"));
    const struct timestamp t = at(3);
    EXPECT_TRUE(timestamp_is_equal(
        kor_cb_record_sensor_names_get_timestamp(read->names), &t));
}

TEST_F(KorCurrentBuffer, KeepsItsNamesWhenTheCallerRelabelsTheVector)
{
    const current_holder cbuf = create("c", 8);
    const test::vector_holder vector = sample(0);
    write(cbuf, vector);
    struct sensor *const other = sensor_create("Other");
    sensor_array_set(telemetry_matrix_get_sensors(vector.get()), 0, other);
    EXPECT_EQ(write(cbuf, vector), KOR_OK);
    EXPECT_THAT(types_left(open_for_read_write("c")), ElementsAre(2u, 1u, 2u));
}

TEST_F(KorCurrentBuffer, StoresManySensorsInOneStream)
{
    const current_holder cbuf = create("c", 4);
    EXPECT_EQ(write(cbuf, test::wide_vector(10000, at(0))), KOR_OK);
    EXPECT_EQ(inflate_streams("c").size(), 1u);
    EXPECT_EQ(open_for_append("c")->size, 1);
}

TEST_F(KorCurrentBuffer, AnEventMayStandFirst)
{
    const current_holder cbuf = create("c", 4);
    EXPECT_EQ(write(cbuf, fan_fail()), KOR_OK);
    EXPECT_EQ(inflate_file("c"), current_header(4) + stored_event);
    EXPECT_EQ(open_for_append("c"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_UNKNOWN_KIND);
}

// --- what can never be read again is refused ---

class KorCurrentBufferLimits : public KorCurrentBuffer {
protected:
    KorCurrentBufferLimits() : cbuf_(create("c", 4))
    {
        write(cbuf_, sample(0));
        before_ = read_file("c");
    }
    // Nothing has changed, and the buffer goes on.
    void expect_untouched()
    {
        EXPECT_EQ(read_file("c"), before_);
        EXPECT_EQ(cbuf_->size, 1);
        EXPECT_EQ(write(cbuf_, sample(1)), KOR_OK);
        cbuf_.reset();
        EXPECT_EQ(inflate_file("c"), current_header(4) + stored_names +
                                         stored_sample_0 + stored_sample_1);
    }
    current_holder cbuf_;
    std::string before_;
};

TEST_F(KorCurrentBufferLimits, MoreThanTenThousandSensors)
{
    EXPECT_EQ(write(cbuf_, test::wide_vector(10001, at(1))), KOR_ERR_TOO_LONG);
    expect_untouched();
}

TEST_F(KorCurrentBufferLimits, ASensorNameOfMoreThanTenThousandCharacters)
{
    EXPECT_EQ(write(cbuf_, test::vector_of({"a", std::string(10001, 'b')},
                                           at(1), {1, 2})),
              KOR_ERR_TOO_LONG);
    expect_untouched();
}

TEST_F(KorCurrentBufferLimits, AnEmptySensorName)
{
    EXPECT_EQ(write(cbuf_, test::vector_of({"a", ""}, at(1), {1, 2})),
              KOR_ERR_INVALID_DATA);
    expect_untouched();
}

TEST_F(KorCurrentBufferLimits, AnEventOfMoreThanTenThousandCharacters)
{
    EXPECT_EQ(write(cbuf_, event_of(1, 1, std::string(10001, 'x'))),
              KOR_ERR_TOO_LONG);
    expect_untouched();
}

TEST_F(KorCurrentBufferLimits, AnEmptyEvent)
{
    EXPECT_EQ(write(cbuf_, event_of(1, 1, "")), KOR_ERR_INVALID_DATA);
    expect_untouched();
}

TEST_F(KorCurrentBuffer, TheLongestNamesAndTextsAreStored)
{
    const current_holder cbuf = create("c", 4);
    EXPECT_EQ(
        write(cbuf, test::vector_of({std::string(10000, 'n')}, at(0), {1})),
        KOR_OK);
    EXPECT_EQ(write(cbuf, event_of(1, 1, std::string(10000, 't'))), KOR_OK);
    EXPECT_EQ(open_for_append("c")->size, 1);
}

// --- reading ---

TEST_F(KorCurrentBuffer, OpensBehindItsFirstRecord)
{
    write_golden("c");
    const current_holder cbuf = open_for_read_write("c");
    EXPECT_EQ(cbuf->size, 0);
    EXPECT_EQ(cbuf->max_data_records, 4);
    ASSERT_NE(cbuf->names, nullptr);
    EXPECT_THAT(types_left(cbuf), ElementsAre(2u, 2u, 3u));
    EXPECT_EQ(cbuf->size, 2);
}

TEST_F(KorCurrentBuffer, ReadsWhatWasWritten)
{
    write_golden("c");
    const current_holder cbuf = open_for_read_write("c");
    struct kor_cb_record rec;
    kor_cb_record_init_null(&rec);
    ASSERT_EQ(kor_current_buffer_read_record(cbuf.get(), &rec), KOR_OK);
    struct kor_cb_record_sensor_values expected;
    const test::vector_holder vector = sample(0);
    kor_cb_record_sensor_values_init(&expected, vector.get());
    EXPECT_TRUE(kor_cb_record_sensor_values_is_equal(rec.values, &expected));
    kor_cb_record_sensor_values_destruct(&expected);
    ASSERT_EQ(kor_current_buffer_read_record(cbuf.get(), &rec), KOR_OK);
    ASSERT_EQ(kor_current_buffer_read_record(cbuf.get(), &rec), KOR_OK);
    EXPECT_TRUE(kor_cb_record_event_is_equal(rec.event, fan_fail().get()));
    kor_cb_record_destruct(&rec);
}

// Two names records with nothing between them: the second must not be read
// over the first, which the buffer has adopted.
TEST_F(KorCurrentBuffer, ReadsTwoNamesRecordsInARow)
{
    write_streams("c",
                  {current_header(4) + stored_names + stored_sample_0,
                   stored_names_at(5), stored_names_at(6), stored_sample_1});
    const current_holder cbuf = open_for_append("c");
    ASSERT_NE(cbuf, nullptr);
    EXPECT_EQ(cbuf->size, 2);
    const struct timestamp t = at(6);
    EXPECT_TRUE(timestamp_is_equal(
        kor_cb_record_sensor_names_get_timestamp(cbuf->names), &t));
}

TEST_F(KorCurrentBuffer, ReopensAndGoesOn)
{
    {
        const current_holder cbuf = create("c", 4);
        for (int i = 0; i < 3; ++i) write(cbuf, sample(i));
    }
    const current_holder cbuf = open_for_append("c");
    ASSERT_NE(cbuf, nullptr);
    EXPECT_EQ(cbuf->size, 3);
    EXPECT_NE(cbuf->reader, nullptr);
    EXPECT_EQ(write(cbuf, sample(3)), KOR_OK);
    EXPECT_EQ(cbuf->reader, nullptr);
    EXPECT_EQ(write(cbuf, sample(4)), KOR_ERR_FULL);
    EXPECT_EQ(inflate_streams("c").size(), 4u);
    EXPECT_EQ(open_for_append("c")->size, 4);
}

TEST_F(KorCurrentBuffer, AnEventEndsReadingBeforeItIsWritten)
{
    write_golden("c");
    const current_holder cbuf = open_for_append("c");
    EXPECT_EQ(write(cbuf, fan_fail()), KOR_OK);
    EXPECT_EQ(cbuf->reader, nullptr);
}

TEST_F(KorCurrentBuffer, ReopeningAndClosingChangesNothing)
{
    write_golden("c");
    const std::string before = read_file("c");
    open_for_append("c").reset();
    open_for_read_write("c").reset();
    EXPECT_EQ(read_file("c"), before);
}

TEST_F(KorCurrentBuffer, ReopensAHeaderOnlyFile)
{
    create("c", 4).reset();
    const current_holder cbuf = open_for_append("c");
    ASSERT_NE(cbuf, nullptr);
    EXPECT_EQ(cbuf->size, 0);
    EXPECT_EQ(cbuf->names, nullptr);
    EXPECT_EQ(write(cbuf, sample(0)), KOR_OK);
    EXPECT_THAT(inflate_streams("c"),
                ElementsAre(current_header(4), stored_names + stored_sample_0));
}

// A buffer that was opened in its middle is read to its end first: records in
// the file are neither overwritten nor forgotten.
TEST_F(KorCurrentBuffer, AWriteInTheMiddleGoesToTheEnd)
{
    {
        const current_holder cbuf = create("c", 4);
        for (int i = 0; i < 3; ++i) write(cbuf, sample(i));
        write(cbuf, test::wide_vector(1000, at(9)));
    }
    const std::string before = inflate_file("c");
    current_holder cbuf = open_for_read_write("c");
    EXPECT_EQ(write(cbuf, sample(4)), KOR_ERR_FULL);
    EXPECT_EQ(cbuf->size, 4);
    EXPECT_EQ(write(cbuf, fan_fail()), KOR_OK);
    EXPECT_EQ(inflate_file("c"), before + stored_event);
}

TEST_F(KorCurrentBuffer, AWriteInTheMiddleKnowsTheLastNames)
{
    {
        const current_holder cbuf = create("c", 8);
        write(cbuf, test::wide_vector(1, at(0)));
        write(cbuf, sample(0));
    }
    const std::string before = inflate_file("c");
    const current_holder cbuf = open_for_read_write("c");
    EXPECT_EQ(write(cbuf, sample(1)), KOR_OK);
    EXPECT_EQ(cbuf->size, 3);
    EXPECT_EQ(inflate_file("c"), before + stored_sample_1);
}

TEST_F(KorCurrentBuffer, AWriteBehindDamageReportsItAndWritesNothing)
{
    write_streams("c", {current_header(4) + stored_names + stored_sample_0,
                        bytes("00 00 00 09"), stored_sample_1});
    const std::string before = read_file("c");
    current_holder cbuf = open_for_read_write("c");
    EXPECT_EQ(write(cbuf, sample(1)), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(write(cbuf, sample(1)), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(write(cbuf, fan_fail()), KOR_ERR_INVALID_DATA);
    cbuf.reset();
    EXPECT_EQ(read_file("c"), before);
}

TEST_F(KorCurrentBuffer, AnAppendReportsDamage)
{
    write_streams("c", {current_header(4) + stored_names + stored_sample_0,
                        stored_sample_1.substr(0, 20)});
    EXPECT_EQ(open_for_append("c"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_TRUNCATED);
}

TEST_F(KorCurrentBuffer, MoreSamplesThanTheCapacityAreRefusedByAnAppend)
{
    const std::string first = current_header(2) + stored_names;
    write_streams("two", {first, stored_sample_0, stored_sample_1});
    EXPECT_EQ(open_for_append("two")->size, 2);
    write_streams("three",
                  {first, stored_sample_0, stored_sample_1, stored_sample_1});
    EXPECT_EQ(open_for_append("three"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_INVALID_DATA);
}

TEST_F(KorCurrentBuffer, AHistoryBufferIsOfTheOtherKind)
{
    kor_hist_buffer_close(std::array{kor_hist_buffer_create("h", 4)}.data());
    const int before = test::open_descriptors();
    EXPECT_EQ(open_for_append("h"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_OTHER_KIND);
    EXPECT_EQ(open_for_read_write("h"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_OTHER_KIND);
    EXPECT_EQ(test::open_descriptors(), before);
}

TEST_F(KorCurrentBuffer, AMissingFileOrFolderCannotBeOpened)
{
    EXPECT_EQ(open_for_append("missing"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(create("missing/c", 4), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
}

// --- the header ---

TEST_F(KorCurrentBuffer, HeaderIsVersionAndCapacity)
{
    const current_holder cbuf = create("c", 258);
    test::expect_writer_failures_come_through(
        bytes("01 00 00 01 02"), [&cbuf](struct writer *out) {
            return binary_serializer_write_kor_current_buffer(cbuf.get(), out);
        });
    EXPECT_EQ(test::stored_by([&cbuf](struct writer *out) {
                  return binary_serializer_write_kor_current_buffer(cbuf.get(),
                                                                    out);
              }),
              bytes("01 00 00 01 02"));
}

struct header_case {
    const char *name;
    const char *stored;
    int result;
};
void PrintTo(const header_case &row, std::ostream *os)
{
    *os << row.name;
}
class KorCurrentBufferHeader : public testing::TestWithParam<header_case> {};

TEST_P(KorCurrentBufferHeader, ReadsAs)
{
    struct kor_current_buffer cbuf = {};
    cbuf.version = KOR_CURRENT_BUFFER_VERSION;
    memory_reader in(bytes(GetParam().stored));
    EXPECT_EQ(binary_serializer_read_kor_current_buffer(&cbuf, in.get()),
              GetParam().result);
    EXPECT_EQ(cbuf.max_data_records, GetParam().result > 0 ? 258 : 0);
}

constexpr header_case headers[] = {
    {"Good", "01 00 00 01 02", 5},
    {"Empty", "", 0},
    {"VersionTwo", "02 00 00 01 02", KOR_ERR_WRONG_VERSION},
    {"VersionZero", "00 00 00 01 02", KOR_ERR_WRONG_VERSION},
    {"NoCapacity", "01", KOR_ERR_TRUNCATED},
    {"CutCapacity", "01 00 00 01", KOR_ERR_TRUNCATED},
    {"CapacityZero", "01 00 00 00 00", KOR_ERR_INVALID_DATA},
    {"OddCapacity", "01 00 00 01 01", KOR_ERR_INVALID_DATA},
};
INSTANTIATE_TEST_SUITE_P(Table, KorCurrentBufferHeader,
                         testing::ValuesIn(headers), [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST(KorCurrentBufferHeaderFailures, ComeThrough)
{
    test::expect_reader_failures_come_through(
        bytes("01 00 00 01 02"), [](struct reader *in) {
            struct kor_current_buffer cbuf = {};
            cbuf.version = KOR_CURRENT_BUFFER_VERSION;
            return binary_serializer_read_kor_current_buffer(&cbuf, in);
        });
}

// An odd capacity is written, but never read back.
TEST_F(KorCurrentBuffer, AnOddCapacityCannotBeReopened)
{
    create("c", 3).reset();
    EXPECT_EQ(open_for_append("c"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_INFLATE);
}

// --- the caller's own streams ---

TEST_F(KorCurrentBuffer, AFailureOfACallersWriterComesThrough)
{
    const current_holder cbuf = create("c", 4);
    struct writer *const own = cbuf->writer;
    memory_writer out;
    cbuf->writer = out.get();
    EXPECT_EQ(write(cbuf, sample(0)), KOR_OK);
    EXPECT_EQ(out.bytes(), stored_names + stored_sample_0);
    for (int calls = 0; calls < 3; ++calls) {
        out.fail_after(calls, KOR_ERR_DEFLATE);
        EXPECT_EQ(write(cbuf, sample(1)), KOR_ERR_DEFLATE);
        out.fail_after(calls, KOR_ERR_INFLATE);
        EXPECT_EQ(write(cbuf, fan_fail()), KOR_ERR_INFLATE);
        EXPECT_EQ(cbuf->size, 1);
    }
    cbuf->writer = own;
}

TEST_F(KorCurrentBuffer, NamesThatCouldNotBeWrittenStayTheWorkingSet)
{
    const current_holder cbuf = create("c", 4);
    struct writer *const own = cbuf->writer;
    memory_writer out;
    cbuf->writer = out.get();
    out.fail_after(2, KOR_ERR_INFLATE);
    EXPECT_EQ(write(cbuf, sample(0)), KOR_ERR_INFLATE);
    ASSERT_NE(cbuf->names, nullptr);
    EXPECT_THAT(
        test::names_of(kor_cb_record_sensor_names_get_sensors(cbuf->names)),
        testing::ElementsAreArray(test::two_sensors));
    cbuf->writer = own;
}

TEST_F(KorCurrentBuffer, ACallersCompressorLeavesTheFileAlone)
{
    current_holder cbuf = create("c", 8);
    EXPECT_EQ(write(cbuf, sample(0)), KOR_OK);
    const std::string before = read_file("c");
    struct writer *const own = cbuf->writer;
    memory_writer out;
    cbuf->writer = zlib_writer_create(test::lend(out.get()));
    EXPECT_EQ(write(cbuf, sample(1)), KOR_OK);
    out.fail_after(0, KOR_ERR_INFLATE);
    EXPECT_EQ(write(cbuf, sample(2)), KOR_OK);
    EXPECT_EQ(read_file("c"), before);
    out.fail_after(1000, KOR_ERR_INFLATE);
    writer_destroy(&cbuf->writer);
    cbuf->writer = own;
}

TEST_F(KorCurrentBuffer, ACallersWriterLeavesTheFileAlone)
{
    current_holder cbuf = create("c", 8);
    EXPECT_EQ(write(cbuf, sample(0)), KOR_OK);
    struct writer *const own = cbuf->writer;
    memory_writer out;
    cbuf->writer = out.get();
    EXPECT_EQ(write(cbuf, sample(1)), KOR_OK);
    out.fail_after(0, KOR_ERR_INFLATE);
    EXPECT_EQ(write(cbuf, test::wide_vector(3, at(1))), KOR_ERR_INFLATE);
    cbuf->writer = own;
    {
        const test::file_size_limit full_disk(read_file("c").size());
        EXPECT_EQ(write(cbuf, sample(1)), KOR_ERR_INFLATE);
    }
    EXPECT_EQ(write(cbuf, sample(1)), KOR_OK);
    cbuf.reset();
    EXPECT_EQ(inflate_file("c"), current_header(8) + stored_names +
                                     stored_sample_0 + stored_names_at(1) +
                                     stored_sample_1);
}

TEST_F(KorCurrentBuffer, AReopenedBufferWithoutItsReaderGoesOnAtTheEnd)
{
    write_golden("c");
    const std::string before = inflate_file("c");
    const current_holder cbuf = open_for_read_write("c");
    reader_destroy(&cbuf->reader);
    EXPECT_EQ(write(cbuf, sample(1)), KOR_OK);
    EXPECT_EQ(inflate_file("c"), before + stored_sample_1);
}

TEST_F(KorCurrentBuffer, ReadsThroughACallersReader)
{
    write_golden("c");
    const current_holder cbuf = open_for_append("c");
    reader_destroy(&cbuf->reader);
    memory_reader in(stored_sample_0 + stored_event + stored_sample_1);
    cbuf->reader = in.get();
    EXPECT_THAT(types_left(cbuf), ElementsAre(2u, 3u, 2u));
    EXPECT_EQ(cbuf->size, 4);
    cbuf->reader = nullptr;
}

// --- memory ---

int with_buffer(struct kor_current_buffer *cbuf,
                const std::function<int(struct kor_current_buffer *)> &act)
{
    if (cbuf == nullptr) return vela_get_last_error();
    const int result = act(cbuf);
    kor_current_buffer_close(&cbuf);
    return result;
}

TEST_F(KorCurrentBuffer, EveryAllocationFailureWhileCreatingIsClean)
{
    test::expect_every_allocation_failure_is_clean([] {
        return with_buffer(kor_current_buffer_create("c", 4),
                           [](auto *) { return KOR_OK; });
    });
}

TEST_F(KorCurrentBuffer, EveryAllocationFailureWhileWritingIsClean)
{
    const test::vector_holder first = sample(0);
    const test::vector_holder second = test::wide_vector(3, at(1));
    test::expect_every_allocation_failure_is_clean([&] {
        return with_buffer(kor_current_buffer_create("c", 4), [&](auto *cbuf) {
            const int result =
                kor_current_buffer_write_telemetry_vector(cbuf, first.get());
            if (result < 0) return result;
            return kor_current_buffer_write_telemetry_vector(cbuf,
                                                             second.get());
        });
    });
}

TEST_F(KorCurrentBuffer, EveryAllocationFailureWhileReopeningIsClean)
{
    write_golden("c");
    const std::string before = read_file("c");
    const std::function<int()> attempt = [] {
        return with_buffer(kor_current_buffer_open_for_append("c"),
                           [](auto *) { return KOR_OK; });
    };
    test::expect_every_allocation_failure_is_clean(attempt);
    EXPECT_EQ(read_file("c"), before);
    // The same with a last stream that lacks its end.
    write_file("c", before.substr(0, before.size() - 2));
    test::expect_every_allocation_failure_is_clean(attempt);
    EXPECT_EQ(read_file("c"), before.substr(0, before.size() - 2));
}

TEST_F(KorCurrentBuffer, AnAllocationFailureLeavesTheBufferUsable)
{
    const test::vector_holder first = sample(0);
    const test::vector_holder second = sample(1);
    for (int failing = 0; failing < 50; ++failing) {
        current_holder cbuf = create("c", 4);
        int result;
        {
            const test::failing_allocation fault(failing);
            result = write(cbuf, first);
        }
        if (result == KOR_OK) return;
        EXPECT_EQ(result, KOR_ERR_NO_MEMORY);
        EXPECT_EQ(write(cbuf, first), KOR_OK);
        EXPECT_EQ(write(cbuf, second), KOR_OK);
        cbuf.reset();
        EXPECT_EQ(inflate_file("c"), current_header(4) + stored_names +
                                         stored_sample_0 + stored_sample_1);
    }
    FAIL() << "writing a vector takes ever more memory";
}

// --- traces ---

TEST_F(KorCurrentBuffer, TracesCreationEachVectorAndFullness)
{
    const current_holder cbuf = create("c", 2);
    test::traces().clear();
    create("d", 4).reset();
    write(cbuf, sample(0));
    write(cbuf, sample(1));
    write(cbuf, sample(2));
    write(cbuf, fan_fail());
    const auto &lines = test::traces();
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0].text,
              "kor_current_buffer_create: file='d', max_data_records=4");
    EXPECT_EQ(lines[0].level, 150);
    EXPECT_EQ(lines[1].text,
              "kor_current_buffer_write_telemetry_vector: "
              "filename='c', size=0 of 2");
    EXPECT_EQ(lines[1].level, 90);
    EXPECT_EQ(lines[3].text,
              "kor_current_buffer_write_telemetry_vector: "
              "filename='c', size=2 of 2");
    EXPECT_EQ(lines[4].text,
              "kor_current_buffer_write_telemetry_vector: "
              "filename='c' is full. size=2");
    EXPECT_EQ(lines[4].level, 150);
    EXPECT_EQ(lines[1].message_id, lines[3].message_id);
    EXPECT_NE(lines[0].message_id, lines[1].message_id);
    EXPECT_NE(lines[3].message_id, lines[4].message_id);
    for (const test::trace_line &line : lines) {
        EXPECT_EQ(line.a, -1);
        EXPECT_EQ(line.b, 39);
    }
}

// --- aborts ---

struct kor_current_buffer *buffer_of(uint8_t version)
{
    static struct kor_current_buffer cbuf;
    static char filename[] = "c";
    static memory_writer out;
    cbuf = {};
    cbuf.version = version;
    cbuf.filename = filename;
    cbuf.writer = out.get();
    cbuf.max_data_records = 4;
    return &cbuf;
}
struct kor_current_buffer *live()
{
    return buffer_of(KOR_CURRENT_BUFFER_VERSION);
}
struct kor_current_buffer *dead()
{
    return buffer_of(0);
}
void write_vector(struct kor_current_buffer *cbuf, struct matrix *vector)
{
    kor_current_buffer_write_telemetry_vector(cbuf, vector);
}
void write_event(struct kor_current_buffer *cbuf,
                 struct kor_cb_record_event *event)
{
    kor_current_buffer_write_event(cbuf, event);
}
void close(struct kor_current_buffer *cbuf)
{
    kor_current_buffer_close(&cbuf);
}
struct kor_current_buffer *changed(
    const std::function<void(struct kor_current_buffer &)> &change)
{
    struct kor_current_buffer *const cbuf = live();
    change(*cbuf);
    return cbuf;
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
struct kor_cb_record *record()
{
    static struct kor_cb_record rec;
    kor_cb_record_init_null(&rec);
    return &rec;
}

constexpr char version_text[] = "cbuf->version == KOR_CURRENT_BUFFER_VERSION";

class KorCurrentBufferDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(KorCurrentBufferDeathTest,
               {"CreateOfNull", "filename != NULL",
                [] {
                    kor_current_buffer_create(nullptr, 4);
                }},
               {"CreateOfCapacityZero", "max_data_records > 0",
                [] {
                    kor_current_buffer_create("c", 0);
                }},
               {"CreateOfNegativeCapacity", "max_data_records > 0",
                [] {
                    kor_current_buffer_create("c", -2);
                }},
               {"OpenNull", "filename != NULL",
                [] {
                    kor_current_buffer_open_for_read_write(nullptr);
                }},
               {"AppendToNull", "filename != NULL",
                [] {
                    kor_current_buffer_open_for_append(nullptr);
                }},
               {"InnerOpenWithoutName", "filename != NULL",
                [] {
                    _kor_current_buffer_open(nullptr, source(), stdin);
                }},
               {"InnerOpenWithoutReader", "reader != NULL",
                [] {
                    _kor_current_buffer_open("c", nullptr, stdin);
                }},
               {"InnerOpenWithoutFile", "fp != NULL",
                [] {
                    _kor_current_buffer_open("c", source(), nullptr);
                }},
               {"CloseNull", "cbuf != NULL",
                [] {
                    kor_current_buffer_close(nullptr);
                }},
               {"CloseOfNull", "*cbuf != NULL",
                [] {
                    close(nullptr);
                }},
               {"CloseDead", "(*cbuf)->version == KOR_CURRENT_BUFFER_VERSION",
                [] {
                    close(dead());
                }},
               {"CloseWithoutName", "(*cbuf)->filename != NULL",
                [] {
                    close(changed([](auto &c) { c.filename = nullptr; }));
                }},
               {"CloseWithoutWriter", "(*cbuf)->writer != NULL",
                [] {
                    close(changed([](auto &c) { c.writer = nullptr; }));
                }},
               {"WriteVectorToNull", "cbuf != NULL",
                [] {
                    write_vector(nullptr, sample(0).get());
                }},
               {"WriteVectorToDead", version_text,
                [] {
                    write_vector(dead(), sample(0).get());
                }},
               {"WriteNullVector", "vector != NULL",
                [] {
                    write_vector(live(), nullptr);
                }},
               {"WriteTwoRows", "matrix_get_number_rows(vector) == 1",
                [] {
                    write_vector(live(), matrix_create(2, 2));
                }},
               {"WriteEventToNull", "cbuf != NULL",
                [] {
                    write_event(nullptr, fan_fail().get());
                }},
               {"WriteEventToDead", version_text,
                [] {
                    write_event(dead(), fan_fail().get());
                }},
               {"WriteEventWithoutWriter", "cbuf->writer != NULL",
                [] {
                    write_event(changed([](auto &c) { c.writer = nullptr; }),
                                fan_fail().get());
                }},
               {"WriteNullEvent", "event != NULL",
                [] {
                    write_event(live(), nullptr);
                }},
               {"ReadFromNull", "cbuf != NULL",
                [] {
                    kor_current_buffer_read_record(nullptr, record());
                }},
               {"ReadFromDead", version_text,
                [] {
                    kor_current_buffer_read_record(dead(), record());
                }},
               {"ReadWithoutReader", "cbuf->reader != NULL",
                [] {
                    kor_current_buffer_read_record(live(), record());
                }},
               {"ReadIntoNull", "rec != NULL",
                [] {
                    kor_current_buffer_read_record(
                        changed([](auto &c) { c.reader = source(); }), nullptr);
                }},
               {"FilenameOfNull", "cbuf != NULL",
                [] {
                    kor_current_buffer_get_filename(nullptr);
                }},
               {"FilenameOfDead", version_text,
                [] {
                    kor_current_buffer_get_filename(dead());
                }},
               {"FilenameOfNameless", "cbuf->filename != NULL",
                [] {
                    kor_current_buffer_get_filename(
                        changed([](auto &c) { c.filename = nullptr; }));
                }},
               {"WorkingSetOfNull", "cbuf != NULL",
                [] {
                    kor_current_buffer_get_sensor_working_set(nullptr);
                }},
               {"WorkingSetOfDead", version_text,
                [] {
                    kor_current_buffer_get_sensor_working_set(dead());
                }},
               {"StoreNull", "cbuf != NULL",
                [] {
                    binary_serializer_write_kor_current_buffer(nullptr, sink());
                }},
               {"StoreToNull", "writer != NULL",
                [] {
                    binary_serializer_write_kor_current_buffer(live(), nullptr);
                }},
               {"StoreDead", "cbuf->version == 1",
                [] {
                    binary_serializer_write_kor_current_buffer(dead(), sink());
                }},
               {"RestoreNull", "cbuf != NULL",
                [] {
                    binary_serializer_read_kor_current_buffer(nullptr,
                                                              source());
                }},
               {"RestoreFromNull", "reader != NULL",
                [] {
                    binary_serializer_read_kor_current_buffer(live(), nullptr);
                }},
               {"RestoreDead", "cbuf->version == 1", [] {
                    binary_serializer_read_kor_current_buffer(dead(), source());
                }});

}  // namespace
