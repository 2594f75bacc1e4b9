#include "kor_hb_record.h"

#include "record_support.hpp"

namespace {

using test::at;
using test::bytes;
using test::memory_reader;
using test::memory_writer;

using list_holder =
    test::holder<struct hist_value_list, hist_value_list_destroy>;

// A names record and an interval under it.
const std::string names = bytes(
    "00 00 00 01 01 01 45 98 4f 01 00 00 00 00 01 00"
    "00 00 02 01 00 00 00 0a 44 49 53 4b 30 20 52 45"
    "41 44 01 00 00 00 09 43 50 55 30 20 54 65 6d 70");
const std::string interval = bytes(
    "00 00 00 02 02 01 45 98 4f 01 00 00 00 00 01 45"
    "98 4f 02 00 00 00 00 00 00 00 02 01 00 00 00 01"
    "44 96 00 00 44 96 00 00 44 96 00 00 44 96 00 00"
    "44 96 00 00 49 af c8 00 4e cd fe 60 53 f1 66 18"
    "01 00 00 00 02 42 36 00 00 42 39 00 00 42 36 00"
    "00 42 39 00 00 42 b7 80 00 45 83 8a 80 48 3c 9a"
    "01 4b 07 37 54 01 00 00 00 00 00 00 00 00 00 00"
    "00 00 00 00 00 00 00 00 00 00");
constexpr size_t tag_size = 4;
constexpr size_t second_event_counter_at = 122 - 16;

list_holder one_sensor()
{
    list_holder list(hist_value_list_create());
    struct sensor *sensor = sensor_create("a");
    hist_value_update(hist_value_list_add_if_not_present(list.get(), sensor),
                      1.0f);
    sensor_destroy(&sensor);
    return list;
}

kor_hb_record_sensor_names *some_names()
{
    const struct timestamp t = at(0);
    return kor_hb_record_sensor_names_create(&t, one_sensor().get());
}

struct kor_hb_record_sensor_values *some_values()
{
    const struct timestamp t = at(0);
    return kor_hb_record_sensor_values_create(&t, &t, one_sensor().get(),
                                              nullptr);
}

void expect_empty(const struct kor_hb_record &rec)
{
    EXPECT_EQ(rec.type, 0u);
    EXPECT_EQ(rec.data, nullptr);
    EXPECT_EQ(rec.owns_data, 0u);
}

class KorHbRecord : public testing::Test {
protected:
    KorHbRecord() { kor_hb_record_init_null(&rec_); }
    ~KorHbRecord() override { kor_hb_record_destruct(&rec_); }

    int read(const std::string &stored)
    {
        memory_reader in(stored);
        return binary_serializer_read_kor_hb_record(&rec_, in.get());
    }

    void expect_read(const std::string &stored)
    {
        EXPECT_EQ(read(stored), static_cast<int>(stored.size()));
        EXPECT_EQ(rec_.owns_data, 1u);
    }

    struct kor_hb_record rec_;
};

TEST_F(KorHbRecord, NullRecordIsEmpty)
{
    struct kor_hb_record rec;
    EXPECT_EQ(kor_hb_record_init_null(&rec), KOR_OK);
    expect_empty(rec);
}

TEST_F(KorHbRecord, MadeAroundAPayloadItBorrowsIt)
{
    kor_hb_record_sensor_names *sensor_names = some_names();
    EXPECT_EQ(kor_hb_record_init_sensor_names(&rec_, sensor_names), KOR_OK);
    EXPECT_EQ(rec_.type, KOR_HB_RECORD_SENSOR_NAMES);
    EXPECT_EQ(rec_.names, sensor_names);
    EXPECT_EQ(rec_.owns_data, 0u);
    kor_hb_record_destruct(&rec_);
    expect_empty(rec_);
    EXPECT_EQ(sensor_names->version, 1);
    kor_hb_record_sensor_names_destroy(&sensor_names);

    struct kor_hb_record_sensor_values *values = some_values();
    EXPECT_EQ(kor_hb_record_init_sensor_values(&rec_, values), KOR_OK);
    EXPECT_EQ(rec_.type, KOR_HB_RECORD_SENSOR_VALUES);
    EXPECT_EQ(rec_.values, values);
    EXPECT_EQ(rec_.owns_data, 0u);
    kor_hb_record_destruct(&rec_);
    EXPECT_EQ(values->version, 2);
    kor_hb_record_sensor_values_destroy(&values);
}

TEST_F(KorHbRecord, ReadsARunOfRecordsAndWritesThemBack)
{
    memory_reader in(names + interval);
    memory_writer out;
    for (const std::string &whole : {names, interval}) {
        EXPECT_EQ(binary_serializer_read_kor_hb_record(&rec_, in.get()),
                  static_cast<int>(whole.size()));
        EXPECT_EQ(binary_serializer_write_kor_hb_record(&rec_, out.get()),
                  static_cast<int>(whole.size()));
    }
    EXPECT_EQ(binary_serializer_read_kor_hb_record(&rec_, in.get()), 0);
    EXPECT_EQ(out.bytes(), names + interval);
}

TEST_F(KorHbRecord, NamesReadBackEqualToTheRecordWritten)
{
    kor_hb_record_sensor_names *sensor_names = some_names();
    struct kor_hb_record written;
    kor_hb_record_init_sensor_names(&written, sensor_names);
    expect_read(test::stored_by([&](struct writer *out) {
        return binary_serializer_write_kor_hb_record(&written, out);
    }));
    EXPECT_EQ(kor_hb_record_sensor_names_is_equal(rec_.names, sensor_names), 1);
    kor_hb_record_sensor_names_destroy(&sensor_names);
}

TEST_F(KorHbRecord, CleanEndLeavesTheRecordUntouched)
{
    EXPECT_EQ(read(""), 0);
    expect_empty(rec_);
    expect_read(interval);
    const void *const payload = rec_.data;
    EXPECT_EQ(read(""), 0);
    EXPECT_EQ(rec_.data, payload);
    EXPECT_EQ(rec_.owns_data, 1u);
}

TEST_F(KorHbRecord, ReadsOverAPayloadOfTheSameType)
{
    expect_read(names);
    const void *payload = rec_.data;
    expect_read(names);
    EXPECT_EQ(rec_.data, payload);

    expect_read(interval);
    payload = rec_.data;
    const struct hist_value *const hvalues = rec_.values->hvalues;
    expect_read(interval);
    EXPECT_EQ(rec_.data, payload);
    EXPECT_EQ(rec_.values->hvalues, hvalues);
}

TEST_F(KorHbRecord, ReadsOverABorrowedPayloadAndThenOwnsIt)
{
    struct kor_hb_record_sensor_values *const values = some_values();
    kor_hb_record_init_sensor_values(&rec_, values);
    expect_read(interval);
    EXPECT_EQ(rec_.values, values);
    EXPECT_EQ(values->n_sensors, 2u);
}

// A values payload of the older form is read over and destroyed like any.
TEST_F(KorHbRecord, ReadsOverAValuesPayloadOfTheOlderForm)
{
    const std::string older = test::with(
        interval.substr(0, interval.size() - 21), tag_size, bytes("01"));
    expect_read(older);
    EXPECT_EQ(rec_.values->version, 1);
    expect_read(interval);
    EXPECT_EQ(rec_.values->version, 2);
    expect_read(older);
    expect_read(names);
}

TEST_F(KorHbRecord, DetachedPayloadBelongsToTheCaller)
{
    expect_read(names);
    kor_hb_record_sensor_names *sensor_names = rec_.names;
    kor_hb_record_detach(&rec_);
    EXPECT_EQ(rec_.names, sensor_names);
    expect_read(interval);
    EXPECT_EQ(sensor_names->sensors->nsensors, 2u);
    kor_hb_record_sensor_names_destroy(&sensor_names);
}

TEST_F(KorHbRecord, UnknownTypeIsRefusedAndThePayloadDropped)
{
    for (const char *type : {"00 00 00 00", "00 00 00 03", "02 00 00 00"}) {
        SCOPED_TRACE(type);
        expect_read(interval);
        EXPECT_EQ(read(bytes(type)), KOR_ERR_INVALID_DATA);
        expect_empty(rec_);
    }
}

TEST_F(KorHbRecord, RefusedPayloadIsGone)
{
    for (const std::string &whole : {names, interval}) {
        expect_read(whole);
        EXPECT_EQ(read(test::with(whole, tag_size, bytes("03"))),
                  KOR_ERR_WRONG_VERSION);
        EXPECT_EQ(rec_.data, nullptr);
        expect_read(whole);
        EXPECT_EQ(read(whole.substr(0, whole.size() - 1)), KOR_ERR_TRUNCATED);
        EXPECT_EQ(rec_.data, nullptr);
        expect_read(whole);
        EXPECT_EQ(read(whole.substr(0, tag_size)), KOR_ERR_TRUNCATED);
        EXPECT_EQ(rec_.data, nullptr);
    }
}

struct stored_record {
    const char *name;
    const std::string *encoding;
    std::vector<size_t> string_starts;
    std::vector<size_t> aborting;
};

class CutHbRecord : public testing::TestWithParam<stored_record> {};

TEST_P(CutHbRecord, IsRefusedAtEveryByte)
{
    test::expect_every_cut_is_refused(
        *GetParam().encoding,
        {.when_empty = 0,
         .string_starts = GetParam().string_starts,
         .aborting = GetParam().aborting},
        [](struct reader *in) {
            struct kor_hb_record rec;
            kor_hb_record_init_null(&rec);
            const int nread = binary_serializer_read_kor_hb_record(&rec, in);
            if (nread <= 0) expect_empty(rec);
            kor_hb_record_destruct(&rec);
            return nread;
        });
}

INSTANTIATE_TEST_SUITE_P(
    Types, CutHbRecord,
    testing::Values(stored_record{"Names", &names, {20, 35}, {24, 39}},
                    stored_record{
                        "Values", &interval, {}, {second_event_counter_at}}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(KorHbRecord, FailuresOfTheStreamsComeThrough)
{
    for (const std::string &whole : {names, interval}) {
        expect_read(whole);
        test::expect_writer_failures_come_through(
            whole, [&](struct writer *out) {
                return binary_serializer_write_kor_hb_record(&rec_, out);
            });
        test::expect_reader_failures_come_through(whole, [](struct reader *in) {
            struct kor_hb_record rec;
            kor_hb_record_init_null(&rec);
            const int nread = binary_serializer_read_kor_hb_record(&rec, in);
            kor_hb_record_destruct(&rec);
            return nread;
        });
    }
}

TEST_F(KorHbRecord, AllocationFailuresAreClean)
{
    for (const std::string &whole : {names, interval})
        test::expect_every_allocation_failure_is_clean([&] {
            struct kor_hb_record rec;
            kor_hb_record_init_null(&rec);
            memory_reader in(whole);
            const int nread =
                binary_serializer_read_kor_hb_record(&rec, in.get());
            kor_hb_record_destruct(&rec);
            return nread < 0 ? nread : static_cast<int>(KOR_OK);
        });
}

TEST(KorHbRecordDeathTest, MakingAsksForItsArguments)
{
    struct kor_hb_record rec;
    kor_hb_record_sensor_names sensor_names = {};
    struct kor_hb_record_sensor_values values = {};
    EXPECT_ABORTS(kor_hb_record_init_null(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_init_sensor_names(nullptr, &sensor_names),
                  "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_init_sensor_names(&rec, nullptr),
                  "names != NULL");
    EXPECT_ABORTS(kor_hb_record_init_sensor_values(nullptr, &values),
                  "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_init_sensor_values(&rec, nullptr),
                  "values != NULL");
}

TEST(KorHbRecordDeathTest, DetachAsksForAPayload)
{
    struct kor_hb_record rec = {};
    EXPECT_ABORTS(kor_hb_record_detach(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_detach(&rec), "rec->type > 0");
    rec.type = KOR_HB_RECORD_SENSOR_VALUES;
    EXPECT_ABORTS(kor_hb_record_detach(&rec), "rec->data != NULL");
}

TEST(KorHbRecordDeathTest, OwnedPayloadOfUnknownTypeCannotBeDestroyed)
{
    struct kor_hb_record_sensor_values values = {};
    struct kor_hb_record rec = {};
    rec.type = 3;
    rec.values = &values;
    rec.owns_data = 1;
    EXPECT_ABORTS(kor_hb_record_destruct(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_destruct(&rec), "kind != NULL");
}

TEST(KorHbRecordDeathTest, SerializersAskForRecordAndStream)
{
    memory_writer out;
    memory_reader in(interval);
    struct kor_hb_record_sensor_values values = {};
    struct kor_hb_record rec = {};
    rec.type = 3;
    EXPECT_ABORTS(binary_serializer_write_kor_hb_record(nullptr, out.get()),
                  "rec != NULL");
    EXPECT_ABORTS(binary_serializer_write_kor_hb_record(&rec, out.get()),
                  "rec->type == KOR_HB_RECORD_SENSOR_NAMES || "
                  "rec->type == KOR_HB_RECORD_SENSOR_VALUES");
    rec.type = KOR_HB_RECORD_SENSOR_VALUES;
    EXPECT_ABORTS(binary_serializer_write_kor_hb_record(&rec, out.get()),
                  "rec->data != NULL");
    rec.values = &values;
    EXPECT_ABORTS(binary_serializer_write_kor_hb_record(&rec, nullptr),
                  "writer != NULL");
    EXPECT_ABORTS(binary_serializer_read_kor_hb_record(nullptr, in.get()),
                  "rec != NULL");
    EXPECT_ABORTS(binary_serializer_read_kor_hb_record(&rec, nullptr),
                  "reader != NULL");
}

}  // namespace
