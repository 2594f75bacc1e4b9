#include "sensor_array.h"

#include <cstddef>

#include "model_support.hpp"

using test::expect_empty_registry;
using test::memory_reader;
using test::memory_writer;
using test::names_of;
using test::new_sensor;
using test::new_sensors;
using test::numbered;
using test::sensor_array_ptr;
using test::sensor_ptr;
using names = std::vector<std::string>;

static_assert(test::is_layout(sizeof(sensor_array), 24, 16));
static_assert(offsetof(sensor_array, nsensors) == 4);
static_assert(offsetof(sensor_array, ref_count) == 8);
static_assert(test::is_layout(offsetof(sensor_array, sensors), 16, 12));

namespace {

class SensorArray : public testing::Test {
protected:
    void TearDown() override { expect_empty_registry(); }
};

void expect_null(const sensor_array &array, uint8_t version)
{
    EXPECT_EQ(array.version, version);
    EXPECT_EQ(array.nsensors, 0u);
    EXPECT_EQ(array.ref_count, nullptr);
    EXPECT_EQ(array.sensors, nullptr);
}

// --- life ---

TEST_F(SensorArray, TakesTheCallersPointers)
{
    const test::allocation_count blocks;
    const char *given[] = {"b", "a"};
    struct sensor **items = sensor_create_array(given, 2);
    sensor_array *array = sensor_array_create(items, 2);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(sensor_array_get_sensors(array), items);
    EXPECT_EQ(sensor_array_get_size(array), 2u);
    EXPECT_EQ(*array->ref_count, 1u);
    EXPECT_EQ(sensor_array_get(array, 1), items[1]);
    EXPECT_EQ(names_of(array), (names{"b", "a"}));
    sensor_array_destroy(&array);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(blocks.live(), 0);
}

TEST_F(SensorArray, KeepsTheCallersPointersWhenOutOfMemory)
{
    struct sensor first;
    sensor_init_null(&first);
    struct sensor *items[] = {&first};
    sensor_array array;
    {
        const test::failing_allocation counter(0);
        EXPECT_EQ(sensor_array_init(&array, items, 1), KOR_ERR_NO_MEMORY);
    }
    expect_null(array, SENSOR_ARRAY_VERSION);
    EXPECT_EQ(items[0], &first);
    sensor_array_destruct(&array);  // has nothing to release
    for (const int n : {0, 1}) {
        const test::failing_allocation failing(n);
        EXPECT_EQ(sensor_array_create(items, 1), nullptr);
        EXPECT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
    }
}

TEST_F(SensorArray, EmptyHasNullElements)
{
    const sensor_array_ptr array(sensor_array_create_empty(3));
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->nsensors, 3u);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(sensor_array_get(array.get(), i), nullptr);
}

TEST_F(SensorArray, NullHasNothing)
{
    const sensor_array_ptr array(sensor_array_create_null());
    ASSERT_NE(array, nullptr);
    expect_null(*array, SENSOR_ARRAY_VERSION);
    EXPECT_EQ(sensor_array_get_size(array.get()), 0u);
    EXPECT_EQ(sensor_array_get_sensors(array.get()), nullptr);
}

TEST_F(SensorArray, InitFromNamesLeavesAPartlyFilledArrayToTheCaller)
{
    const char *given[] = {"a", "b"};
    sensor_array array;
    {
        // pointers, counter, registry, node and name of a, then b
        const test::failing_allocation node_of_b(5);
        EXPECT_EQ(sensor_array_init_from_names(&array, given, 2),
                  KOR_ERR_NO_MEMORY);
    }
    EXPECT_EQ(array.nsensors, 2u);
    EXPECT_EQ(test::name_of(array.sensors[0]), "a");
    EXPECT_EQ(array.sensors[1], nullptr);
    sensor_array_destruct(&array);
    expect_null(array, 0);
}

TEST_F(SensorArray, FailedAllocationsAreOutOfMemory)
{
    static const sensor_array *source = nullptr;
    const sensor_array_ptr shared = new_sensors({"a", "b"});
    source = shared.get();
    struct sensor_array *(*const creators[])() = {
        sensor_array_create_null,
        [] { return sensor_array_create_empty(4); },
        [] {
            return new_sensors({"u", "v", "w"}).release();
        },
        [] { return sensor_array_copy(source); },
    };
    for (const auto create : creators)
        test::expect_every_allocation_failure_is_clean([&] {
            sensor_array *array = create();
            if (array == nullptr) return vela_get_last_error();
            sensor_array_destroy(&array);
            return int{KOR_OK};
        });
    EXPECT_EQ(*shared->ref_count, 1u);
}

// --- sharing ---

TEST_F(SensorArray, CopyKeepsTheSensorsOfADestructedSource)
{
    sensor_array_ptr array = new_sensors({"a", "b"});
    const sensor_array_ptr copy(sensor_array_copy(array.get()));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->sensors, array->sensors);
    EXPECT_EQ(*copy->ref_count, 2u);
    array.reset();
    EXPECT_EQ(*copy->ref_count, 1u);
    EXPECT_EQ(_sensors.nsensors, 2u);
    EXPECT_EQ(names_of(copy.get()), (names{"a", "b"}));
}

TEST_F(SensorArray, CopyOfANullArrayIsANullArray)
{
    const sensor_array_ptr array(sensor_array_create_null());
    const sensor_array_ptr copy(sensor_array_copy(array.get()));
    ASSERT_NE(copy, nullptr);
    expect_null(*copy, SENSOR_ARRAY_VERSION);
}

TEST_F(SensorArray, SetReplacesAndEveryCopySeesIt)
{
    const sensor_array_ptr array = new_sensors({"a", "b"});
    const sensor_array_ptr copy(sensor_array_copy(array.get()));
    struct sensor *const c = sensor_create("c");
    EXPECT_EQ(sensor_array_set(array.get(), 1, c), c);
    EXPECT_EQ(names_of(copy.get()), (names{"a", "c"}));
    EXPECT_EQ(_sensors.nsensors, 2u);  // b is gone
}

TEST_F(SensorArray, SetTakesNull)
{
    const sensor_array_ptr array = new_sensors({"a", "b"});
    EXPECT_EQ(sensor_array_set(array.get(), 0, nullptr), nullptr);
    EXPECT_EQ(sensor_array_set(array.get(), 0, nullptr), nullptr);
    EXPECT_EQ(sensor_array_get(array.get(), 0), nullptr);
    EXPECT_EQ(_sensors.nsensors, 1u);
}

TEST_F(SensorArray, SetOfTheSameSensorDropsOneOfTwoReferences)
{
    const sensor_array_ptr array = new_sensors({"a"});
    struct sensor *const again = sensor_create("a");
    EXPECT_EQ(sensor_array_set(array.get(), 0, again), again);
    EXPECT_EQ(_sensors.buckets[again->hash_code % 32]->nrefs, 1u);
}

TEST_F(SensorArray, SetOfTheHandleThatIsThereKeepsIt)
{
    const sensor_array_ptr array(sensor_array_create_empty(1));
    struct sensor *const handle = sensor_create_null();
    sensor_array_set(array.get(), 0, handle);
    EXPECT_EQ(sensor_array_set(array.get(), 0, handle), handle);
    EXPECT_EQ(handle->version, SENSOR_VERSION);
}

// --- equality ---

TEST_F(SensorArray, EqualityComparesSensorsInOrder)
{
    const sensor_array_ptr ab = new_sensors({"a", "b"});
    const sensor_array_ptr same = new_sensors({"a", "b"});
    const sensor_array_ptr ba = new_sensors({"b", "a"});
    const sensor_array_ptr longer = new_sensors({"a", "b", "c"});
    const sensor_array_ptr shared(sensor_array_copy(ab.get()));
    EXPECT_EQ(sensor_array_is_equal(ab.get(), same.get()), 1);
    EXPECT_EQ(sensor_array_is_equal(ab.get(), shared.get()), 1);
    EXPECT_EQ(sensor_array_is_equal(ab.get(), ba.get()), 0);
    EXPECT_EQ(sensor_array_is_equal(ab.get(), longer.get()), 0);
}

TEST_F(SensorArray, HandlesEqualTheirCanonicalSensors)
{
    const sensor_array_ptr canonical = new_sensors({"a"});
    const sensor_array_ptr handles(sensor_array_create_empty(1));
    struct sensor *const handle = sensor_create_null();
    sensor_copy(canonical->sensors[0], handle);
    sensor_array_set(handles.get(), 0, handle);
    EXPECT_EQ(sensor_array_is_equal(canonical.get(), handles.get()), 1);
}

TEST_F(SensorArray, SharedEqualityLooksAtNoElement)
{
    const sensor_array_ptr empty(sensor_array_create_empty(2));
    EXPECT_EQ(sensor_array_is_equal(empty.get(), empty.get()), 1);
}

TEST_F(SensorArray, NullArraysEqualOnlyEachOther)
{
    const sensor_array_ptr null(sensor_array_create_null());
    const sensor_array_ptr other(sensor_array_create_null());
    const sensor_array_ptr one = new_sensors({"a"});
    EXPECT_EQ(sensor_array_is_equal(null.get(), other.get()), 1);
    EXPECT_EQ(sensor_array_is_equal(null.get(), one.get()), 0);
    other->nsensors = 1;  // the same size, but without elements
    EXPECT_EQ(sensor_array_is_equal(other.get(), one.get()), 0);
    EXPECT_EQ(sensor_array_is_equal(one.get(), other.get()), 0);
    other->nsensors = 0;
}

// --- stored form ---

const std::string two_stored =
    test::bytes("01 00000002  01 00000001 61  01 00000002 6263");

int read_array(const std::string &stored, sensor_array *array)
{
    memory_reader in(stored);
    return binary_serializer_read_sensor_array(array, in.get());
}

int read_and_drop(struct reader *in)
{
    sensor_array array;
    sensor_array_init_null(&array);
    const int nread = binary_serializer_read_sensor_array(&array, in);
    if (nread <= 0) expect_null(array, SENSOR_ARRAY_VERSION);
    sensor_array_destruct(&array);
    return nread;
}

TEST_F(SensorArray, IsStoredAsCountAndSensors)
{
    const sensor_array_ptr array = new_sensors({"a", "bc"});
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_sensor_array(array.get(), out.get()), 18);
    EXPECT_EQ(out.bytes(), two_stored);
}

TEST_F(SensorArray, IsReadWithACounterOfOne)
{
    sensor_array array;
    sensor_array_init_null(&array);
    ASSERT_EQ(read_array(two_stored, &array), 18);
    EXPECT_EQ(*array.ref_count, 1u);
    EXPECT_EQ(names_of(&array), (names{"a", "bc"}));
    sensor_array_destruct(&array);
}

TEST_F(SensorArray, EveryCutIsRefused)
{
    test::expect_every_cut_is_refused(
        two_stored,
        {.when_empty = 0, .string_starts = {6, 12}, .aborting = {10, 16}},
        read_and_drop);
}

struct damaged_row {
    const char *name;
    const char *hex;
    int code;
};
class DamagedSensorArray : public testing::TestWithParam<damaged_row> {};

TEST_P(DamagedSensorArray, GivesItsCodeAndLeavesNothing)
{
    const test::allocation_count blocks;
    sensor_array array;
    sensor_array_init_null(&array);
    EXPECT_EQ(read_array(test::bytes(GetParam().hex), &array), GetParam().code);
    expect_null(array, SENSOR_ARRAY_VERSION);
    EXPECT_EQ(blocks.live(), 0);
    expect_empty_registry();
}

constexpr damaged_row damaged_rows[] = {
    {"AnotherVersion", "02", KOR_ERR_WRONG_VERSION},
    {"NoCount", "01", KOR_ERR_TRUNCATED},
    {"CountZero", "01 00000000", KOR_ERR_TOO_LONG},
    {"CountAboveLimit", "01 00002711", KOR_ERR_TOO_LONG},
    {"LargestCountWithoutSensors", "01 00002710", KOR_ERR_TRUNCATED},
    {"SensorOfAnotherVersion", "01 00000002 01 00000001 61 02",
     KOR_ERR_WRONG_VERSION},
    {"EmptyName", "01 00000002 01 00000001 61 01 00000000",
     KOR_ERR_INVALID_DATA},
    {"NameWithNul", "01 00000001 01 00000002 6100", KOR_ERR_INVALID_DATA},
};
INSTANTIATE_TEST_SUITE_P(Table, DamagedSensorArray,
                         testing::ValuesIn(damaged_rows), [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST_F(SensorArray, MoreThan10000SensorsAreNotWritten)
{
    const sensor_array_ptr array(sensor_array_create_empty(10001));
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_sensor_array(array.get(), out.get()),
              KOR_ERR_TOO_LONG);
    EXPECT_EQ(out.calls(), 0);
}

TEST_F(SensorArray, TenThousandSensorsSurviveARoundTrip)
{
    names many;
    for (uint32_t i = 0; i < 10000; ++i) many.push_back(numbered("S", i));
    const sensor_array_ptr array = new_sensors(many);
    memory_writer out;
    const int nwritten =
        binary_serializer_write_sensor_array(array.get(), out.get());
    EXPECT_EQ(nwritten, static_cast<int>(out.bytes().size()));
    sensor_array back;
    sensor_array_init_null(&back);
    EXPECT_EQ(read_array(out.bytes(), &back), nwritten);
    EXPECT_EQ(sensor_array_is_equal(array.get(), &back), 1);
    sensor_array_destruct(&back);
}

TEST_F(SensorArray, PassesStreamErrorsUp)
{
    const sensor_array_ptr array = new_sensors({"a", "bc"});
    for (int calls = 0; calls < 8; ++calls) {
        memory_writer out;
        out.fail_after(calls, KOR_ERR_DEFLATE);
        EXPECT_EQ(binary_serializer_write_sensor_array(array.get(), out.get()),
                  KOR_ERR_DEFLATE);
        memory_reader in(two_stored);
        in.fail_after(calls, KOR_ERR_INFLATE);
        EXPECT_EQ(read_and_drop(in.get()), KOR_ERR_INFLATE);
    }
}

TEST_F(SensorArray, FailedAllocationsWhileReadingAreOutOfMemory)
{
    test::expect_every_allocation_failure_is_clean([] {
        memory_reader in(two_stored);
        return std::min(read_and_drop(in.get()), int{KOR_OK});
    });
}

// --- broken preconditions ---

class SensorArrayDeathTest : public testing::Test {
protected:
    void TearDown() override
    {
        array_.reset();
        expect_empty_registry();
    }

    sensor_array_ptr array_ = new_sensors({"a", "b"});
    sensor_array *none_ = nullptr;
    sensor_array dead_ = {};
    sensor_array storage_ = {};
};

TEST_F(SensorArrayDeathTest, InitsNeedStorageAndElements)
{
    struct sensor *items[] = {array_->sensors[0]};
    const char *given[] = {"a", nullptr};
    EXPECT_ABORTS(sensor_array_init(none_, items, 1), "array != NULL");
    EXPECT_ABORTS(sensor_array_init(&storage_, nullptr, 1), "sensors != NULL");
    EXPECT_ABORTS(sensor_array_init(&storage_, items, 0), "nsensors > 0");
    EXPECT_ABORTS(sensor_array_create(nullptr, 1), "sensors != NULL");
    EXPECT_ABORTS(sensor_array_create(items, 0), "nsensors > 0");
    EXPECT_ABORTS(sensor_array_init_empty(none_, 1), "array != NULL");
    EXPECT_ABORTS(sensor_array_init_empty(&storage_, 0), "nsensors > 0");
    EXPECT_ABORTS(sensor_array_create_empty(0), "nsensors > 0");
    EXPECT_ABORTS(sensor_array_init_null(none_), "array != NULL");
    EXPECT_ABORTS(sensor_array_init_from_names(none_, given, 1),
                  "array != NULL");
    EXPECT_ABORTS(sensor_array_init_from_names(&storage_, nullptr, 1),
                  "names != NULL");
    EXPECT_ABORTS(sensor_array_init_from_names(&storage_, given, 0),
                  "nsensors > 0");
    EXPECT_ABORTS(sensor_array_init_from_names(&storage_, given, 2),
                  "names[i] != NULL");
    EXPECT_ABORTS(sensor_array_create_from_names(nullptr, 1), "names != NULL");
    EXPECT_ABORTS(sensor_array_create_from_names(given, 2), "names[i] != NULL");
}

TEST_F(SensorArrayDeathTest, DestructionNeedsALiveCountedArray)
{
    EXPECT_ABORTS(sensor_array_destruct(none_), "array != NULL");
    EXPECT_ABORTS(sensor_array_destruct(&dead_),
                  "array->version == SENSOR_ARRAY_VERSION");
    EXPECT_ABORTS_IN("sensor_array_destroy", sensor_array_destroy(&none_),
                     "*array != NULL");
    sensor_array *dead = &dead_;
    EXPECT_ABORTS_IN("sensor_array_destroy", sensor_array_destroy(&dead),
                     "(*array)->version == SENSOR_ARRAY_VERSION");
    sensor_array broken = *array_;
    uint32_t zero = 0;
    broken.ref_count = &zero;
    EXPECT_ABORTS(sensor_array_destruct(&broken), "*array->ref_count > 0");
    EXPECT_ABORTS(sensor_array_copy(&broken), "*array->ref_count > 0");
    broken = *array_;
    broken.sensors = nullptr;
    EXPECT_ABORTS(sensor_array_destruct(&broken), "array->sensors != NULL");
}

TEST_F(SensorArrayDeathTest, EqualityNeedsLiveArraysAndElements)
{
    const sensor_array *const array = array_.get();
    EXPECT_ABORTS(sensor_array_is_equal(none_, array), "s1 != NULL");
    EXPECT_ABORTS(sensor_array_is_equal(&dead_, array),
                  "s1->version == SENSOR_ARRAY_VERSION");
    EXPECT_ABORTS(sensor_array_is_equal(array, none_), "s2 != NULL");
    EXPECT_ABORTS(sensor_array_is_equal(array, &dead_),
                  "s2->version == SENSOR_ARRAY_VERSION");
    sensor_array odd = *array;
    odd.nsensors = 1;
    EXPECT_ABORTS(sensor_array_is_equal(array, &odd),
                  "s1->nsensors == s2->nsensors");
    odd = *array;
    odd.ref_count = nullptr;
    EXPECT_ABORTS(sensor_array_is_equal(array, &odd),
                  "s1->ref_count == s2->ref_count");
    const sensor_array_ptr empty(sensor_array_create_empty(2));
    EXPECT_ABORTS(sensor_array_is_equal(empty.get(), array),
                  "s1->sensors[i] != NULL");
    EXPECT_ABORTS(sensor_array_is_equal(array, empty.get()),
                  "s2->sensors[i] != NULL");
}

TEST_F(SensorArrayDeathTest, ElementsAreReachedWithinBounds)
{
    sensor_array *const array = array_.get();
    EXPECT_ABORTS(sensor_array_get(none_, 0), "array != NULL");
    EXPECT_ABORTS(sensor_array_get(&dead_, 0),
                  "array->version == SENSOR_ARRAY_VERSION");
    EXPECT_ABORTS(sensor_array_get(array, -1), "i >= 0");
    EXPECT_ABORTS(sensor_array_get(array, 2), "i < array->nsensors");
    EXPECT_ABORTS(sensor_array_set(none_, 0, nullptr), "array != NULL");
    EXPECT_ABORTS(sensor_array_set(&dead_, 0, nullptr),
                  "array->version == SENSOR_ARRAY_VERSION");
    EXPECT_ABORTS(sensor_array_set(array, -1, nullptr), "i >= 0");
    EXPECT_ABORTS(sensor_array_set(array, 2, nullptr), "i < array->nsensors");
}

TEST_F(SensorArrayDeathTest, AccessorsNeedALiveArray)
{
    EXPECT_ABORTS(sensor_array_copy(none_), "array != NULL");
    EXPECT_ABORTS(sensor_array_copy(&dead_),
                  "array->version == SENSOR_ARRAY_VERSION");
    EXPECT_ABORTS(sensor_array_get_sensors(none_), "array != NULL");
    EXPECT_ABORTS(sensor_array_get_sensors(&dead_),
                  "array->version == SENSOR_ARRAY_VERSION");
    EXPECT_ABORTS(sensor_array_get_size(none_), "array != NULL");
    EXPECT_ABORTS(sensor_array_get_size(&dead_),
                  "array->version == SENSOR_ARRAY_VERSION");
}

TEST_F(SensorArrayDeathTest, SerializersNeedALiveFilledArray)
{
    memory_writer out;
    memory_reader in("");
    EXPECT_ABORTS(binary_serializer_write_sensor_array(none_, out.get()),
                  "array != NULL");
    EXPECT_ABORTS(binary_serializer_write_sensor_array(&dead_, out.get()),
                  "array->version == 1");
    sensor_array odd = *array_;
    odd.sensors = nullptr;
    EXPECT_ABORTS(binary_serializer_write_sensor_array(&odd, out.get()),
                  "array->sensors != NULL");
    odd = *array_;
    odd.nsensors = 0;
    EXPECT_ABORTS(binary_serializer_write_sensor_array(&odd, out.get()),
                  "array->nsensors > 0");
    const sensor_array_ptr empty(sensor_array_create_empty(1));
    EXPECT_ABORTS(binary_serializer_write_sensor_array(empty.get(), out.get()),
                  "array->sensors[i] != NULL");
    EXPECT_ABORTS(binary_serializer_read_sensor_array(none_, in.get()),
                  "array != NULL");
    EXPECT_ABORTS(binary_serializer_read_sensor_array(&dead_, in.get()),
                  "array->version == 1");
    for (const size_t cut : {size_t{10}, size_t{16}}) {
        memory_reader name_missing(two_stored.substr(0, cut));
        EXPECT_ABORTS(read_and_drop(name_missing.get()), "nread != 0");
    }
}

}  // namespace
