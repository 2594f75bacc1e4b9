#include "sensor.h"

#include <cstddef>

#include "model_support.hpp"

using test::expect_empty_registry;
using test::memory_reader;
using test::memory_writer;
using test::name_of;
using test::new_sensor;
using test::sensor_ptr;

static_assert(test::is_layout(sizeof(sensor), 32, 16));
static_assert(test::is_layout(offsetof(sensor, name), 8, 4));
static_assert(test::is_layout(offsetof(sensor, hash_code), 16, 8));
static_assert(test::is_layout(offsetof(sensor, canonical), 24, 12));

namespace {

// Every test must leave the registry as it found it.
class Sensor : public testing::Test {
protected:
    void TearDown() override { expect_empty_registry(); }
};
using SensorDeathTest = Sensor;

void expect_handle_of(const struct sensor &handle,
                      const struct sensor *canonical)
{
    EXPECT_EQ(handle.version, SENSOR_VERSION);
    EXPECT_EQ(handle.name, nullptr);
    EXPECT_EQ(handle.hash_code, 0u);
    EXPECT_EQ(handle.canonical, canonical);
}

TEST_F(Sensor, CreateReturnsTheCanonicalSensor)
{
    const sensor_ptr s = new_sensor("abc");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->version, SENSOR_VERSION);
    EXPECT_STREQ(s->name, "abc");
    EXPECT_EQ(s->hash_code, uint32_t{'a'} + 'b' + 'c');
    EXPECT_EQ(s->canonical, s.get());
}

TEST_F(Sensor, HashIsTheSumOfUnsignedBytes)
{
    const sensor_ptr s = new_sensor("\xFF\xFF\x01");
    EXPECT_EQ(sensor_get_hash_code(s.get()), 255u + 255u + 1u);
    const sensor_ptr empty = new_sensor("");
    EXPECT_EQ(sensor_get_hash_code(empty.get()), 0u);
}

TEST_F(Sensor, HandleKnowsItsNameAndHashThroughTheCanonicalOne)
{
    struct sensor handle;
    ASSERT_EQ(sensor_init(&handle, "x"), KOR_OK);
    const sensor_ptr canonical = new_sensor("x");
    expect_handle_of(handle, canonical.get());
    EXPECT_EQ(sensor_get_hash_code(&handle), uint32_t{'x'});
    EXPECT_EQ(sensor_is_equal(&handle, canonical.get()), 1);
    sensor_destruct(&handle);
    EXPECT_EQ(handle.version, 0);
    EXPECT_EQ(handle.canonical, nullptr);
}

TEST_F(Sensor, DifferentNamesAreUnequalEvenWithOneHash)
{
    const sensor_ptr ab = new_sensor("ab");
    const sensor_ptr ba = new_sensor("ba");
    EXPECT_EQ(ab->hash_code, ba->hash_code);
    EXPECT_EQ(sensor_is_equal(ab.get(), ba.get()), 0);
    EXPECT_EQ(sensor_is_equal(ab.get(), ab.get()), 1);
}

TEST_F(Sensor, NullSensorHasNothingToRelease)
{
    struct sensor *null = sensor_create_null();
    ASSERT_NE(null, nullptr);
    expect_handle_of(*null, nullptr);
    struct sensor other;
    EXPECT_EQ(sensor_init_null(&other), KOR_OK);
    EXPECT_EQ(sensor_is_equal(null, &other), 1);
    sensor_destruct(&other);
    sensor_destroy(&null);
    EXPECT_EQ(null, nullptr);
}

TEST_F(Sensor, CopyTakesAReference)
{
    sensor_ptr s = new_sensor("abc");
    EXPECT_EQ(sensor_copy(s.get(), nullptr), s.get());
    struct sensor handle;
    EXPECT_EQ(sensor_copy(s.get(), &handle), &handle);
    expect_handle_of(handle, s.get());
    struct sensor second;
    sensor_copy(&handle, &second);
    expect_handle_of(second, s.get());
    EXPECT_EQ(sensor_copy(&second, nullptr), s.get());
    struct sensor *const canonical = s.get();
    EXPECT_EQ(_sensors.buckets[canonical->hash_code % 32]->nrefs, 5u);
    sensor_destruct(&handle);
    sensor_destruct(&second);
    s.reset();
    sensor_destruct(canonical);
    EXPECT_STREQ(canonical->name, "abc");
    sensor_destruct(canonical);
}

TEST_F(Sensor, DestroyFreesAHandleAndReleasesACanonicalSensor)
{
    const test::allocation_count blocks;
    struct sensor *canonical = sensor_create("abc");
    auto *handle = static_cast<struct sensor *>(malloc(sizeof(struct sensor)));
    sensor_copy(canonical, handle);
    sensor_destroy(&canonical);
    EXPECT_EQ(canonical, nullptr);
    EXPECT_EQ(_sensors.nsensors, 1u);
    sensor_destroy(&handle);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(blocks.live(), 0);
}

TEST_F(Sensor, NameIsCopiedLikeStrncpy)
{
    const sensor_ptr s = new_sensor("abc");
    char buffer[6];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(sensor_get_name(s.get(), buffer, 5), buffer);
    EXPECT_EQ(std::string(buffer, 6), std::string("abc\0\0#", 6));
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(sensor_to_string(s.get(), buffer, 3), buffer);
    EXPECT_EQ(std::string(buffer, 4), "abc#");
    std::memset(buffer, '#', sizeof buffer);
    sensor_get_name(s.get(), buffer, 2);
    EXPECT_EQ(std::string(buffer, 3), "ab#");
}

TEST_F(Sensor, ArrayOfNamesIsCreatedInOrder)
{
    const char *names[] = {"b", "a", "b"};
    struct sensor **sensors = sensor_create_array(names, 3);
    ASSERT_NE(sensors, nullptr);
    EXPECT_EQ(name_of(sensors[0]), "b");
    EXPECT_EQ(name_of(sensors[1]), "a");
    EXPECT_EQ(sensors[2], sensors[0]);
    for (int i = 0; i < 3; ++i) sensor_destroy(&sensors[i]);
    free(sensors);
}

TEST_F(Sensor, FailedAllocationsAreOutOfMemory)
{
    test::expect_every_allocation_failure_is_clean([] {
        struct sensor *s = sensor_create("abc");
        if (s == nullptr) return vela_get_last_error();
        sensor_destroy(&s);
        return int{KOR_OK};
    });
    test::expect_every_allocation_failure_is_clean([] {
        struct sensor *s = sensor_create_null();
        if (s == nullptr) return vela_get_last_error();
        sensor_destroy(&s);
        return int{KOR_OK};
    });
    test::expect_every_allocation_failure_is_clean([] {
        struct sensor s;
        const int result = sensor_init(&s, "abc");
        EXPECT_EQ(s.canonical == nullptr, result < 0);
        sensor_destruct(&s);
        return result;
    });
    test::expect_every_allocation_failure_is_clean([] {
        const char *names[] = {"a", "b", "c"};
        struct sensor **sensors = sensor_create_array(names, 3);
        if (sensors == nullptr) return vela_get_last_error();
        for (int i = 0; i < 3; ++i) sensor_destroy(&sensors[i]);
        free(sensors);
        return int{KOR_OK};
    });
}

// --- stored form ---

const std::string stored = test::bytes("01 00000004 54656D70");

int read_and_drop(struct reader *in)
{
    struct sensor *s = nullptr;
    const int nread = binary_serializer_read_sensor(&s, in);
    EXPECT_EQ(s != nullptr, nread > 0);
    if (s != nullptr) sensor_destroy(&s);
    return nread;
}

TEST_F(Sensor, IsStoredAsVersionAndName)
{
    memory_writer out;
    const sensor_ptr s = new_sensor("Temp");
    EXPECT_EQ(binary_serializer_write_sensor(s.get(), out.get()), 9);
    EXPECT_EQ(out.bytes(), stored);
}

TEST_F(Sensor, HandleIsStoredAsItsCanonicalSensor)
{
    memory_writer out;
    struct sensor handle;
    sensor_init(&handle, "Temp");
    EXPECT_EQ(binary_serializer_write_sensor(&handle, out.get()), 9);
    EXPECT_EQ(out.bytes(), stored);
    sensor_destruct(&handle);
}

TEST_F(Sensor, IsReadAsTheInternedOne)
{
    const sensor_ptr s = new_sensor("Temp");
    memory_reader in(stored);
    struct sensor *read = nullptr;
    EXPECT_EQ(binary_serializer_read_sensor(&read, in.get()), 9);
    EXPECT_EQ(read, s.get());
    EXPECT_EQ(_sensors.buckets[s->hash_code % 32]->nrefs, 2u);
    sensor_destroy(&read);
}

// Behind the version byte the missing name is the string reader's clean end.
TEST_F(Sensor, EveryCutIsRefused)
{
    test::expect_every_cut_is_refused(
        stored, {.when_empty = 0, .string_starts = {1}, .aborting = {5}},
        read_and_drop);
}

TEST_F(SensorDeathTest, CutBetweenLengthAndNameAborts)
{
    memory_reader in(stored.substr(0, 5));
    EXPECT_ABORTS_IN("binary_serializer_read_string", read_and_drop(in.get()),
                     "nread != 0");
}

TEST_F(Sensor, DamagedFormsGiveTheirCodes)
{
    const struct {
        const char *hex;
        int code;
    } rows[] = {
        {"00 00000001 61", KOR_ERR_WRONG_VERSION},
        {"02", KOR_ERR_WRONG_VERSION},
        {"01 00000000", KOR_ERR_INVALID_DATA},
        {"01 00002711 61", KOR_ERR_INVALID_DATA},
        {"01 00000003 610062", KOR_ERR_INVALID_DATA},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.hex);
        memory_reader in(test::bytes(row.hex));
        EXPECT_EQ(read_and_drop(in.get()), row.code);
    }
}

TEST_F(Sensor, NameBeyondTheLimitIsRefusedAfterTheVersionByte)
{
    const sensor_ptr s = new_sensor(std::string(10001, 'n'));
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_sensor(s.get(), out.get()),
              KOR_ERR_TOO_LONG);
    EXPECT_EQ(out.bytes(), test::bytes("01"));
}

TEST_F(Sensor, LongestNameSurvivesARoundTrip)
{
    const sensor_ptr s = new_sensor(std::string(10000, 'n'));
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_sensor(s.get(), out.get()), 10005);
    memory_reader in(out.bytes());
    EXPECT_EQ(read_and_drop(in.get()), 10005);
}

// Part of the interface: an empty name can be written, but not read back.
TEST_F(Sensor, EmptyNameIsWrittenAndRefusedOnReading)
{
    const sensor_ptr s = new_sensor("");
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_sensor(s.get(), out.get()), 5);
    memory_reader in(out.bytes());
    EXPECT_EQ(read_and_drop(in.get()), KOR_ERR_INVALID_DATA);
}

TEST_F(Sensor, PassesStreamErrorsUp)
{
    const sensor_ptr s = new_sensor("Temp");
    for (int calls = 0; calls < 3; ++calls) {
        memory_writer out;
        out.fail_after(calls, KOR_ERR_INFLATE);
        EXPECT_EQ(binary_serializer_write_sensor(s.get(), out.get()),
                  KOR_ERR_INFLATE);
        memory_reader in(stored);
        in.fail_after(calls, KOR_ERR_INFLATE);
        EXPECT_EQ(read_and_drop(in.get()), KOR_ERR_INFLATE);
    }
}

TEST_F(Sensor, FailedAllocationsWhileReadingAreOutOfMemory)
{
    test::expect_every_allocation_failure_is_clean([] {
        memory_reader in(stored);
        return std::min(read_and_drop(in.get()), int{KOR_OK});
    });
}

// --- broken preconditions ---

TEST_F(SensorDeathTest, CreationNeedsNamesAndStorage)
{
    struct sensor s;
    const char *names[] = {"a", nullptr};
    EXPECT_ABORTS_IN("sensor_create", sensor_create(nullptr), "name != NULL");
    EXPECT_ABORTS(sensor_init(nullptr, "a"), "s != NULL");
    EXPECT_ABORTS(sensor_init(&s, nullptr), "name != NULL");
    EXPECT_ABORTS(sensor_init_null(nullptr), "s != NULL");
    EXPECT_ABORTS(sensor_create_array(nullptr, 1), "names != NULL");
    EXPECT_ABORTS(sensor_create_array(names, 0), "nsensors > 0");
    EXPECT_ABORTS(sensor_create_array(names, 2), "name != NULL");
}

TEST_F(SensorDeathTest, OperationsNeedALiveSensorThatIsNotNull)
{
    const sensor_ptr s = new_sensor("a");
    struct sensor *none = nullptr;
    struct sensor dead = {};
    struct sensor null;
    sensor_init_null(&null);
    char name[8];
    EXPECT_ABORTS(sensor_copy(none, nullptr), "s != NULL");
    EXPECT_ABORTS(sensor_copy(&dead, nullptr), "s->version == SENSOR_VERSION");
    EXPECT_ABORTS(sensor_copy(&null, nullptr), "s->canonical != NULL");
    EXPECT_ABORTS(sensor_is_equal(none, s.get()), "s1 != NULL");
    EXPECT_ABORTS(sensor_is_equal(&dead, s.get()),
                  "s1->version == SENSOR_VERSION");
    EXPECT_ABORTS(sensor_is_equal(s.get(), none), "s2 != NULL");
    EXPECT_ABORTS(sensor_is_equal(s.get(), &dead),
                  "s2->version == SENSOR_VERSION");
    EXPECT_ABORTS(sensor_get_name(none, name, 8), "s != NULL");
    EXPECT_ABORTS(sensor_get_name(&dead, name, 8),
                  "s->version == SENSOR_VERSION");
    EXPECT_ABORTS(sensor_get_name(s.get(), nullptr, 8), "buf != NULL");
    EXPECT_ABORTS(sensor_get_name(&null, name, 8), "s->canonical != NULL");
    EXPECT_ABORTS(sensor_to_string(none, name, 8), "s != NULL");
    EXPECT_ABORTS(sensor_to_string(&dead, name, 8),
                  "s->version == SENSOR_VERSION");
    EXPECT_ABORTS(sensor_to_string(s.get(), nullptr, 8), "buf != NULL");
    EXPECT_ABORTS(sensor_to_string(&null, name, 8), "s->canonical != NULL");
    EXPECT_ABORTS(sensor_get_hash_code(none), "s != NULL");
    EXPECT_ABORTS(sensor_get_hash_code(&dead), "s->version == SENSOR_VERSION");
    EXPECT_ABORTS(sensor_get_hash_code(&null), "s->canonical != NULL");
}

TEST_F(SensorDeathTest, DestructionNeedsALiveSensor)
{
    struct sensor *none = nullptr;
    struct sensor dead = {};
    EXPECT_ABORTS(sensor_destruct(none), "sensor != NULL");
    EXPECT_ABORTS(sensor_destruct(&dead), "sensor->version == SENSOR_VERSION");
    EXPECT_ABORTS_IN("sensor_destroy", sensor_destroy(&none),
                     "*sensor != NULL");
    EXPECT_ABORTS(sensor_destroy(nullptr), "sensor != NULL");
}

TEST_F(SensorDeathTest, HandleMustNotOwnANameOrHash)
{
    struct sensor odd = {};
    char name[] = "a";
    sensor_init_null(&odd);
    odd.hash_code = 1;
    EXPECT_ABORTS_IN("sensor_destruct", sensor_destruct(&odd),
                     "sensor->hash_code == 0");
    odd.hash_code = 0;
    odd.name = name;
    EXPECT_ABORTS_IN("sensor_destruct", sensor_destruct(&odd),
                     "sensor->name == NULL");
}

TEST_F(SensorDeathTest, SerializersNeedALiveNamedSensor)
{
    memory_writer out;
    memory_reader in("");
    struct sensor *none = nullptr;
    struct sensor dead = {};
    struct sensor null;
    sensor_init_null(&null);
    EXPECT_ABORTS(binary_serializer_write_sensor(none, out.get()),
                  "sensor != NULL");
    EXPECT_ABORTS(binary_serializer_write_sensor(&dead, out.get()),
                  "sensor->version == 1");
    EXPECT_ABORTS(binary_serializer_write_sensor(&null, out.get()),
                  "sensor->canonical != NULL");
    null.canonical = &null;
    EXPECT_ABORTS(binary_serializer_write_sensor(&null, out.get()),
                  "sensor->name != NULL");
    EXPECT_ABORTS(binary_serializer_read_sensor(nullptr, in.get()),
                  "sensor != NULL");
}

}  // namespace
