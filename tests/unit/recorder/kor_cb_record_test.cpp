#include "kor_cb_record.h"

#include "record_support.hpp"

namespace {

using test::at;
using test::bytes;
using test::memory_reader;
using test::memory_writer;
using test::vector_of;

// A names record, the two samples under it and an event.
const std::string names = bytes(
    "00 00 00 01 01 01 45 98 4f 01 00 00 00 00 01 00"
    "00 00 02 01 00 00 00 09 43 50 55 30 20 54 65 6d"
    "70 01 00 00 00 0a 44 49 53 4b 30 20 52 45 41 44");
const std::string sample1 = bytes(
    "00 00 00 02 01 01 45 98 4f 01 00 00 00 00 00 00"
    "00 02 42 36 00 00 44 96 00 00");
const std::string sample2 = bytes(
    "00 00 00 02 01 01 45 98 4f 02 00 00 00 00 00 00"
    "00 02 42 39 00 00 7f ff ff ff");
const std::string event = bytes(
    "00 00 00 03 01 00 00 00 02 01 45 98 4f 02 00 00"
    "00 00 00 00 00 08 66 61 6e 20 66 61 69 6c");

constexpr int tag_size = 4;

class KorCbRecord : public testing::Test {
protected:
    KorCbRecord() { kor_cb_record_init_null(&rec_); }
    ~KorCbRecord() override { kor_cb_record_destruct(&rec_); }

    int read(const std::string &stored)
    {
        memory_reader in(stored);
        return binary_serializer_read_kor_cb_record(&rec_, in.get());
    }

    void expect_read(const std::string &stored)
    {
        EXPECT_EQ(read(stored), static_cast<int>(stored.size()));
        EXPECT_EQ(rec_.owns_data, 1u);
    }

    struct kor_cb_record rec_;
};

struct kor_cb_record_event *some_event()
{
    const struct timestamp t = at(1);
    return kor_cb_record_event_create(2, &t, "fan fail");
}

void expect_empty(const struct kor_cb_record &rec)
{
    EXPECT_EQ(rec.type, 0u);
    EXPECT_EQ(rec.data, nullptr);
    EXPECT_EQ(rec.owns_data, 0u);
}

TEST_F(KorCbRecord, NullRecordIsEmpty)
{
    struct kor_cb_record rec;
    EXPECT_EQ(kor_cb_record_init_null(&rec), KOR_OK);
    expect_empty(rec);
}

TEST_F(KorCbRecord, MadeAroundAPayloadItBorrowsIt)
{
    const auto vector = vector_of({"a"}, at(0), {1.0});
    struct kor_cb_record_sensor_names *sensor_names =
        kor_cb_record_sensor_names_create(vector.get());
    struct kor_cb_record_sensor_values *values =
        kor_cb_record_sensor_values_create(vector.get());
    struct kor_cb_record_event *happened = some_event();

    EXPECT_EQ(kor_cb_record_init_sensor_names(&rec_, sensor_names), KOR_OK);
    EXPECT_EQ(rec_.type, KOR_CB_RECORD_SENSOR_NAMES);
    EXPECT_EQ(rec_.names, sensor_names);
    EXPECT_EQ(rec_.owns_data, 0u);
    kor_cb_record_destruct(&rec_);
    expect_empty(rec_);

    EXPECT_EQ(kor_cb_record_init_sensor_values(&rec_, values), KOR_OK);
    EXPECT_EQ(rec_.type, KOR_CB_RECORD_SENSOR_VALUES);
    EXPECT_EQ(rec_.values, values);
    EXPECT_EQ(rec_.owns_data, 0u);
    kor_cb_record_destruct(&rec_);

    EXPECT_EQ(kor_cb_record_init_event(&rec_, happened), KOR_OK);
    EXPECT_EQ(rec_.type, KOR_CB_RECORD_EVENT);
    EXPECT_EQ(rec_.event, happened);
    EXPECT_EQ(rec_.owns_data, 0u);
    kor_cb_record_destruct(&rec_);

    EXPECT_EQ(sensor_names->version, 1);
    EXPECT_EQ(values->version, 1);
    EXPECT_EQ(happened->version, 1);
    kor_cb_record_sensor_names_destroy(&sensor_names);
    kor_cb_record_sensor_values_destroy(&values);
    kor_cb_record_event_destroy(&happened);
}

TEST_F(KorCbRecord, IsStoredAsItsTypeAndItsPayload)
{
    const auto stored = [&] {
        return test::stored_by([&](struct writer *out) {
            return binary_serializer_write_kor_cb_record(&rec_, out);
        });
    };
    const auto vector =
        vector_of({"CPU0 Temp", "DISK0 READ"}, at(0), {45.5, 1200.0});
    struct kor_cb_record_sensor_names sensor_names;
    ASSERT_EQ(kor_cb_record_sensor_names_init(&sensor_names, vector.get()),
              KOR_OK);
    kor_cb_record_init_sensor_names(&rec_, &sensor_names);
    EXPECT_EQ(stored(), names);
    kor_cb_record_sensor_names_destruct(&sensor_names);

    struct kor_cb_record_sensor_values values;
    kor_cb_record_sensor_values_init(&values, vector.get());
    kor_cb_record_init_sensor_values(&rec_, &values);
    EXPECT_EQ(stored(), sample1);
    kor_cb_record_sensor_values_destruct(&values);

    struct kor_cb_record_event *happened = some_event();
    kor_cb_record_init_event(&rec_, happened);
    EXPECT_EQ(stored(), event);
    kor_cb_record_event_destroy(&happened);
}

TEST_F(KorCbRecord, ReadsARunOfRecordsAndCountsTheirBytes)
{
    memory_reader in(names + sample1 + event + sample2);
    const auto read_next = [&] {
        return binary_serializer_read_kor_cb_record(&rec_, in.get());
    };
    EXPECT_EQ(read_next(), static_cast<int>(names.size()));
    ASSERT_EQ(rec_.type, KOR_CB_RECORD_SENSOR_NAMES);
    EXPECT_THAT(test::names_of(rec_.names->sensors),
                testing::ElementsAre("CPU0 Temp", "DISK0 READ"));
    EXPECT_EQ(read_next(), static_cast<int>(sample1.size()));
    ASSERT_EQ(rec_.type, KOR_CB_RECORD_SENSOR_VALUES);
    EXPECT_EQ(rec_.values->values[1], 1200.0f);
    EXPECT_EQ(read_next(), static_cast<int>(event.size()));
    ASSERT_EQ(rec_.type, KOR_CB_RECORD_EVENT);
    EXPECT_STREQ(rec_.event->text, "fan fail");
    EXPECT_EQ(read_next(), static_cast<int>(sample2.size()));
    ASSERT_EQ(rec_.type, KOR_CB_RECORD_SENSOR_VALUES);
    EXPECT_EQ(rec_.values->values[0], 46.25f);
    EXPECT_EQ(read_next(), 0);
}

TEST_F(KorCbRecord, CleanEndLeavesTheRecordUntouched)
{
    EXPECT_EQ(read(""), 0);
    expect_empty(rec_);
    expect_read(sample1);
    const struct kor_cb_record before = rec_;
    EXPECT_EQ(read(""), 0);
    EXPECT_EQ(rec_.type, before.type);
    EXPECT_EQ(rec_.values, before.values);
    EXPECT_EQ(rec_.owns_data, 1u);
    EXPECT_EQ(rec_.values->values[0], 45.5f);
}

TEST_F(KorCbRecord, ReadsOverAPayloadOfTheSameType)
{
    expect_read(names);
    const void *payload = rec_.data;
    expect_read(names);
    EXPECT_EQ(rec_.data, payload);

    expect_read(event);
    payload = rec_.data;
    expect_read(event);
    EXPECT_EQ(rec_.data, payload);

    expect_read(sample1);
    payload = rec_.data;
    const float *const readings = rec_.values->values;
    expect_read(sample2);
    EXPECT_EQ(rec_.data, payload);
    EXPECT_EQ(rec_.values->values, readings);
    EXPECT_EQ(readings[0], 46.25f);
}

// Part of the interface: owned or not, and it is owned afterwards.
TEST_F(KorCbRecord, ReadsOverABorrowedPayloadAndThenOwnsIt)
{
    struct kor_cb_record_event *const happened = some_event();
    kor_cb_record_init_event(&rec_, happened);
    const std::string other = test::with(event, 8, bytes("05"));
    expect_read(other);
    EXPECT_EQ(rec_.event, happened);
    EXPECT_EQ(happened->type, 5u);
}

TEST_F(KorCbRecord, DropsAPayloadOfAnotherType)
{
    struct kor_cb_record_event *happened = some_event();
    kor_cb_record_init_event(&rec_, happened);
    expect_read(sample1);
    EXPECT_EQ(happened->version, 1);
    kor_cb_record_event_destroy(&happened);
}

TEST_F(KorCbRecord, DetachedPayloadBelongsToTheCaller)
{
    expect_read(event);
    struct kor_cb_record_event *happened = rec_.event;
    kor_cb_record_detach(&rec_);
    EXPECT_EQ(rec_.type, KOR_CB_RECORD_EVENT);
    EXPECT_EQ(rec_.event, happened);
    EXPECT_EQ(rec_.owns_data, 0u);
    kor_cb_record_destruct(&rec_);
    EXPECT_STREQ(happened->text, "fan fail");
    kor_cb_record_event_destroy(&happened);
}

TEST_F(KorCbRecord, UnknownTypeIsRefusedAndThePayloadDropped)
{
    for (const char *type : {"00 00 00 00", "00 00 00 04", "01 00 00 00"}) {
        SCOPED_TRACE(type);
        expect_read(sample1);
        EXPECT_EQ(read(bytes(type)), KOR_ERR_INVALID_DATA);
        expect_empty(rec_);
    }
}

TEST_F(KorCbRecord, RefusedPayloadIsGone)
{
    for (const std::string &whole : {names, sample1, event}) {
        expect_read(whole);
        EXPECT_EQ(read(test::with(whole, tag_size, bytes("02"))),
                  KOR_ERR_WRONG_VERSION);
        EXPECT_EQ(rec_.data, nullptr);
    }
}

// The record can be read into again after every failure.
TEST_F(KorCbRecord, TruncatedPayloadIsGone)
{
    for (const std::string &whole : {names, sample1, event}) {
        for (const size_t cut : {whole.size() - 1, size_t{4}, size_t{5}}) {
            SCOPED_TRACE(cut);
            expect_read(whole);
            EXPECT_EQ(read(whole.substr(0, cut)), KOR_ERR_TRUNCATED);
            EXPECT_EQ(rec_.data, nullptr);
        }
    }
}

struct stored_record {
    const char *name;
    const std::string *encoding;
    std::vector<size_t> string_starts;
};

class CutCbRecord : public testing::TestWithParam<stored_record> {};

TEST_P(CutCbRecord, IsRefusedAtEveryByte)
{
    std::vector<size_t> aborting;
    for (const size_t start : GetParam().string_starts)
        aborting.push_back(start + 4);
    test::expect_every_cut_is_refused(
        *GetParam().encoding,
        {.when_empty = 0,
         .string_starts = GetParam().string_starts,
         .aborting = aborting},
        [](struct reader *in) {
            struct kor_cb_record rec;
            kor_cb_record_init_null(&rec);
            const int nread = binary_serializer_read_kor_cb_record(&rec, in);
            if (nread <= 0) expect_empty(rec);
            kor_cb_record_destruct(&rec);
            return nread;
        });
}

INSTANTIATE_TEST_SUITE_P(
    Types, CutCbRecord,
    testing::Values(stored_record{"Names", &names, {20, 34}},
                    stored_record{"Values", &sample1, {}},
                    stored_record{"Event", &event, {18}}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(KorCbRecord, FailuresOfTheReaderComeThrough)
{
    for (const std::string &whole : {names, sample1, event})
        test::expect_reader_failures_come_through(whole, [](struct reader *in) {
            struct kor_cb_record rec;
            kor_cb_record_init_null(&rec);
            const int nread = binary_serializer_read_kor_cb_record(&rec, in);
            kor_cb_record_destruct(&rec);
            return nread;
        });
}

TEST_F(KorCbRecord, FailuresOfTheWriterComeThrough)
{
    for (const std::string &whole : {names, sample1, event}) {
        expect_read(whole);
        test::expect_writer_failures_come_through(
            whole, [&](struct writer *out) {
                return binary_serializer_write_kor_cb_record(&rec_, out);
            });
    }
}

// The payload refuses only when its type has been written.
TEST_F(KorCbRecord, TooManyReadingsAreRefusedBehindTheType)
{
    const auto vector = test::wide_vector(10001, at(0));
    struct kor_cb_record_sensor_values values;
    kor_cb_record_sensor_values_init(&values, vector.get());
    kor_cb_record_init_sensor_values(&rec_, &values);
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_kor_cb_record(&rec_, out.get()),
              KOR_ERR_TOO_LONG);
    EXPECT_EQ(out.bytes(), bytes("00 00 00 02"));
}

TEST_F(KorCbRecord, AllocationFailuresAreClean)
{
    for (const std::string &whole : {names, sample1, event})
        test::expect_every_allocation_failure_is_clean([&] {
            struct kor_cb_record rec;
            kor_cb_record_init_null(&rec);
            memory_reader in(whole);
            const int nread =
                binary_serializer_read_kor_cb_record(&rec, in.get());
            kor_cb_record_destruct(&rec);
            return nread < 0 ? nread : static_cast<int>(KOR_OK);
        });
}

TEST(KorCbRecordDeathTest, MakingAsksForItsArguments)
{
    struct kor_cb_record rec;
    struct kor_cb_record_sensor_names sensor_names = {};
    struct kor_cb_record_sensor_values values = {};
    struct kor_cb_record_event happened = {};
    EXPECT_ABORTS(kor_cb_record_init_null(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_init_sensor_names(nullptr, &sensor_names),
                  "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_init_sensor_names(&rec, nullptr),
                  "names != NULL");
    EXPECT_ABORTS(kor_cb_record_init_sensor_values(nullptr, &values),
                  "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_init_sensor_values(&rec, nullptr),
                  "values != NULL");
    EXPECT_ABORTS(kor_cb_record_init_event(nullptr, &happened), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_init_event(&rec, nullptr), "event != NULL");
}

TEST(KorCbRecordDeathTest, DetachAsksForAPayload)
{
    struct kor_cb_record rec = {};
    EXPECT_ABORTS(kor_cb_record_detach(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_detach(&rec), "rec->type > 0");
    rec.type = KOR_CB_RECORD_EVENT;
    EXPECT_ABORTS(kor_cb_record_detach(&rec), "rec->data != NULL");
}

TEST(KorCbRecordDeathTest, OwnedPayloadOfUnknownTypeCannotBeDestroyed)
{
    struct kor_cb_record_event happened = {};
    struct kor_cb_record rec = {};
    rec.type = 4;
    rec.event = &happened;
    rec.owns_data = 1;
    EXPECT_ABORTS(kor_cb_record_destruct(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_destruct(&rec), "kind != NULL");
}

TEST(KorCbRecordDeathTest, SerializersAskForRecordAndStream)
{
    memory_writer out;
    memory_reader in(sample1);
    struct kor_cb_record_event happened = {};
    struct kor_cb_record rec = {};
    EXPECT_ABORTS(binary_serializer_write_kor_cb_record(nullptr, out.get()),
                  "rec != NULL");
    EXPECT_ABORTS(binary_serializer_write_kor_cb_record(&rec, out.get()),
                  "rec->type == KOR_CB_RECORD_SENSOR_NAMES || "
                  "rec->type == KOR_CB_RECORD_SENSOR_VALUES || "
                  "rec->type == KOR_CB_RECORD_EVENT");
    rec.type = KOR_CB_RECORD_EVENT;
    EXPECT_ABORTS(binary_serializer_write_kor_cb_record(&rec, out.get()),
                  "rec->data != NULL");
    rec.event = &happened;
    EXPECT_ABORTS(binary_serializer_write_kor_cb_record(&rec, nullptr),
                  "writer != NULL");
    EXPECT_ABORTS(binary_serializer_read_kor_cb_record(nullptr, in.get()),
                  "rec != NULL");
    EXPECT_ABORTS(binary_serializer_read_kor_cb_record(&rec, nullptr),
                  "reader != NULL");
}

}  // namespace
