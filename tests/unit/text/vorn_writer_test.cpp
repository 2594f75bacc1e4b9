#include "vorn_writer.h"

#include "unit/text/text_support.hpp"

using test::base_log;
using test::create_base;
using test::create_sensors;

namespace {

// A text writer over a base whose calls are counted.
class text_writer {
public:
    text_writer() : writer_(vorn_writer_create(create_base(log_))) {}
    text_writer(const text_writer &) = delete;
    text_writer &operator=(const text_writer &) = delete;
    ~text_writer()
    {
        if (writer_ != nullptr) writer_destroy(&writer_);
    }
    struct writer *get() { return writer_; }
    base_log &log() { return log_; }

    int changed(const std::vector<std::string> &names)
    {
        struct sensor_array *sensors = create_sensors(names);
        const int result = vorn_writer_have_sensors_changed(writer_, sensors);
        sensor_array_destroy(&sensors);
        return result;
    }

private:
    base_log log_;
    struct writer *writer_;
};

}  // namespace

TEST(VornWriter, IsAWriterOfItsOwnType)
{
    base_log log;
    struct writer *const base = create_base(log);
    struct writer writer;
    ASSERT_EQ(vorn_writer_init(&writer, base), 0);
    EXPECT_EQ(writer.version, WRITER_VERSION);
    EXPECT_EQ(writer.type, WRITER_TYPE_VORN);
    const auto *const state = static_cast<struct vorn_writer *>(writer.writer);
    EXPECT_EQ(state->version, VORN_WRITER_VERSION);
    EXPECT_EQ(state->writer, base);
    EXPECT_EQ(state->sensors, nullptr);
    writer_destruct(&writer);
}

TEST(VornWriter, PassesBytesOn)
{
    text_writer writer;
    EXPECT_EQ(writer_write_bytes(writer.get(), "abc", 3), 3);
    EXPECT_EQ(writer_write_bytes(writer.get(), "d", 1), 1);
    EXPECT_EQ(writer.log().out.bytes(), "abcd");
    EXPECT_EQ(writer.log().flushes, 0);
}

TEST(VornWriter, PassesFailedWritesUp)
{
    text_writer writer;
    writer.log().out.fail_after(0, KOR_ERR_DEFLATE);
    EXPECT_EQ(writer_write_bytes(writer.get(), "abc", 3), KOR_ERR_DEFLATE);
}

TEST(VornWriter, PassesFlushesOnAndTheirFailuresUp)
{
    text_writer writer;
    EXPECT_EQ(writer_flush(writer.get()), 0);
    EXPECT_EQ(writer.log().flushes, 1);
    writer.log().flush_result = KOR_ERR_DEFLATE;
    EXPECT_EQ(writer_flush(writer.get()), KOR_ERR_DEFLATE);
}

TEST(VornWriter, FlushesAndDestroysItsBaseAtTheEnd)
{
    base_log log;
    struct writer *writer = vorn_writer_create(create_base(log));
    writer_destroy(&writer);
    EXPECT_EQ(writer, nullptr);
    EXPECT_EQ(log.flushes, 1);
    EXPECT_EQ(log.destructions, 1);
}

TEST(VornWriter, LeavesNothingBehind)
{
    const test::allocation_count blocks;
    {
        text_writer writer;
        writer.changed({"a", "b"});
        EXPECT_GT(blocks.live(), 0);
    }
    EXPECT_EQ(blocks.live(), 0);
}

TEST(VornWriter, TakesNothingPerWrite)
{
    text_writer writer;
    const test::allocation_count blocks;
    writer_write_bytes(writer.get(), "abc", 3);
    writer_flush(writer.get());
    EXPECT_EQ(blocks.total(), 0);
}

TEST(VornWriter, LeavesTheBaseToTheCallerWhenItCannotBeMade)
{
    base_log log;
    struct writer *base = create_base(log);
    struct writer writer;
    {
        test::failing_allocation first(0);
        EXPECT_EQ(vorn_writer_init(&writer, base), KOR_ERR_NO_MEMORY);
    }
    EXPECT_EQ(writer.version, 0);
    EXPECT_EQ(writer.type, 0u);
    EXPECT_EQ(log.destructions, 0);
    writer_destroy(&base);
    EXPECT_EQ(log.destructions, 1);
}

TEST(VornWriter, SurvivesEveryAllocationFailure)
{
    base_log log;
    test::expect_every_allocation_failure_is_clean([&log] {
        struct writer *base = create_base(log);
        if (base == nullptr) return int{KOR_ERR_NO_MEMORY};
        vela_set_last_error(0);
        struct writer *writer = vorn_writer_create(base);
        writer_destroy(writer == nullptr ? &base : &writer);
        return vela_get_last_error();
    });
}

// --- the sensors of the last header ---

TEST(VornWriter, HasNewSensorsBeforeTheFirstHeader)
{
    text_writer writer;
    EXPECT_EQ(writer.changed({"a", "b"}), 1);
}

TEST(VornWriter, KnowsTheSameSensorsInAnotherArray)
{
    text_writer writer;
    writer.changed({"a", "b"});
    EXPECT_EQ(writer.changed({"a", "b"}), 0);
    EXPECT_EQ(writer.changed({"a", "b"}), 0);
}

struct other_sensors {
    const char *difference;
    std::vector<std::string> names;
};
void PrintTo(const other_sensors &row, std::ostream *os)
{
    *os << row.difference;
}

class OtherSensors : public testing::TestWithParam<other_sensors> {};

TEST_P(OtherSensors, AreNoticedOnceAndTakeThePlaceOfTheOld)
{
    text_writer writer;
    writer.changed({"a", "b"});
    EXPECT_EQ(writer.changed(GetParam().names), 1);
    EXPECT_EQ(writer.changed(GetParam().names), 0);
    EXPECT_EQ(writer.changed({"a", "b"}), 1);
}

const other_sensors others[] = {
    {"Name", {"a", "c"}},
    {"Order", {"b", "a"}},
    {"Fewer", {"a"}},
    {"More", {"a", "b", "c"}},
};
INSTANTIATE_TEST_SUITE_P(By, OtherSensors, testing::ValuesIn(others),
                         [](const auto &row) { return row.param.difference; });

TEST(VornWriter, KeepsTheOldSensorsWhenTheNewFindNoMemory)
{
    text_writer writer;
    writer.changed({"a"});
    struct sensor_array *sensors = create_sensors({"b"});
    {
        test::failing_allocation first(0);
        EXPECT_EQ(vorn_writer_have_sensors_changed(writer.get(), sensors),
                  KOR_ERR_NO_MEMORY);
    }
    sensor_array_destroy(&sensors);
    EXPECT_EQ(writer.changed({"a"}), 0);
    EXPECT_EQ(writer.changed({"b"}), 1);
}

// --- bugs ---

TEST(VornWriterDeathTest, MissingArgumentsAbort)
{
    test::memory_writer base;
    struct writer writer;
    EXPECT_ABORTS(vorn_writer_init(NULL, base.get()), "writer != NULL");
    EXPECT_ABORTS_IN("vorn_writer_init", vorn_writer_init(&writer, NULL),
                     "writer_base != NULL");
    EXPECT_ABORTS_IN("vorn_writer_create", vorn_writer_create(NULL),
                     "writer_base != NULL");
}

TEST(VornWriterDeathTest, BrokenStateAborts)
{
    base_log log;
    struct writer *base = create_base(log);
    struct vorn_writer dead = {0, base, nullptr};
    struct vorn_writer baseless = {VORN_WRITER_VERSION, nullptr, nullptr};
    struct vorn_writer live = {VORN_WRITER_VERSION, base, nullptr};

    EXPECT_ABORTS(_vorn_writer_write_bytes(NULL, "", 0), "cwriter != NULL");
    EXPECT_ABORTS(_vorn_writer_write_bytes(&dead, "", 0),
                  "cwriter->version == VORN_WRITER_VERSION");
    EXPECT_ABORTS(_vorn_writer_write_bytes(&baseless, "", 0),
                  "cwriter->writer != NULL");
    EXPECT_ABORTS_IN("_vorn_writer_write_bytes",
                     _vorn_writer_write_bytes(&live, NULL, 0), "buf != NULL");

    EXPECT_ABORTS(_vorn_writer_flush(NULL), "cwriter != NULL");
    EXPECT_ABORTS(_vorn_writer_flush(&dead),
                  "cwriter->version == VORN_WRITER_VERSION");
    EXPECT_ABORTS(_vorn_writer_flush(&baseless), "cwriter->writer != NULL");

    EXPECT_ABORTS(_vorn_writer_destruct(NULL), "cwriter != NULL");
    EXPECT_ABORTS(_vorn_writer_destruct(&dead),
                  "cwriter->version == VORN_WRITER_VERSION");
    EXPECT_ABORTS(_vorn_writer_destruct(&baseless), "cwriter->writer != NULL");
    writer_destroy(&base);
}

TEST(VornWriterDeathTest, AskingAnotherWriterForItsSensorsAborts)
{
    test::memory_writer out;
    struct writer stateless = {};
    stateless.type = WRITER_TYPE_VORN;
    struct vorn_writer dead = {};
    struct writer ended = stateless;
    ended.writer = &dead;
    text_writer writer;
    struct sensor_array *sensors = create_sensors({"a"});
    EXPECT_ABORTS(vorn_writer_have_sensors_changed(NULL, sensors),
                  "writer != NULL");
    EXPECT_ABORTS(vorn_writer_have_sensors_changed(out.get(), sensors),
                  "writer->type == WRITER_TYPE_VORN");
    EXPECT_ABORTS(vorn_writer_have_sensors_changed(&stateless, sensors),
                  "writer->writer != NULL");
    EXPECT_ABORTS(vorn_writer_have_sensors_changed(writer.get(), NULL),
                  "sensors != NULL");
    EXPECT_ABORTS(vorn_writer_have_sensors_changed(&ended, sensors),
                  "cwriter->version == VORN_WRITER_VERSION");
    sensor_array_destroy(&sensors);
}
