#include "hist_value_list.h"

#include <cstddef>

#include "model_support.hpp"

using test::expect_empty_registry;
using test::names_of;
using test::new_sensor;
using test::new_sensors;
using test::sensor_array_ptr;
using test::sensor_ptr;
using names = std::vector<std::string>;

static_assert(test::is_layout(sizeof(hist_value_list), 2064, 1032));
static_assert(test::is_layout(offsetof(hist_value_list, buckets), 8, 4));
static_assert(test::is_layout(offsetof(hist_value_list, nitems), 2056, 1028));
static_assert(test::is_layout(sizeof(hist_value_list_entry), 64, 52));
static_assert(test::is_layout(offsetof(hist_value_list_entry, sensor), 8, 4));
static_assert(test::is_layout(offsetof(hist_value_list_entry, hvalue), 16, 8));
static_assert(test::is_layout(offsetof(hist_value_list_entry, next), 56, 48));

namespace {

class HistValueList : public testing::Test {
protected:
    void SetUp() override { hist_value_list_init(&list_); }
    void TearDown() override
    {
        hist_value_list_destruct(&list_);
        expect_empty_registry();
    }

    hist_value *add(const char *name)
    {
        const sensor_ptr sensor = new_sensor(name);
        if (sensor == nullptr) return nullptr;
        return hist_value_list_add_if_not_present(&list_, sensor.get());
    }

    names current()
    {
        const sensor_array_ptr copies(
            hist_value_list_get_sensor_copies(&list_));
        return copies ? names_of(copies.get()) : names{};
    }

    hist_value_list list_;
};

TEST_F(HistValueList, StartsEmpty)
{
    EXPECT_EQ(list_.seq, 0);
    EXPECT_EQ(list_.nitems, 0u);
    for (const auto *bucket : list_.buckets) EXPECT_EQ(bucket, nullptr);
    EXPECT_EQ(hist_value_list_is_empty(&list_), 1);
    EXPECT_EQ(hist_value_list_get_size(&list_), 0u);
}

TEST_F(HistValueList, IsCreatedAndDestroyed)
{
    const test::allocation_count blocks;
    hist_value_list *list = hist_value_list_create();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->seq, 0);
    const sensor_ptr a = new_sensor("a");
    hist_value_list_add_if_not_present(list, a.get());
    hist_value_list_destroy(&list);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(_sensors.nsensors, 1u);
}

TEST_F(HistValueList, AddedSensorHasAFreshValueAndAReference)
{
    hist_value *const hv = add("a");
    ASSERT_NE(hv, nullptr);
    EXPECT_EQ(hv->version, HIST_VALUE_VERSION);
    EXPECT_EQ(hv->count, 0u);
    EXPECT_EQ(hist_value_list_get_size(&list_), 1u);
    EXPECT_EQ(hist_value_list_is_empty(&list_), 0);
    const hist_value_list_entry *const entry = list_.buckets[0x61];
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(&entry->hvalue, hv);
    EXPECT_EQ(entry->seq, 0);
    EXPECT_EQ(test::name_of(entry->sensor), "a");
}

TEST_F(HistValueList, SecondAddFindsTheSameValueUnchanged)
{
    hist_value *const hv = add("a");
    hist_value_update(hv, 2.5f);
    EXPECT_EQ(add("a"), hv);
    EXPECT_EQ(hv->count, 1u);
    EXPECT_EQ(hist_value_list_get_size(&list_), 1u);
}

TEST_F(HistValueList, FindsTheEntryByAHandle)
{
    hist_value *const hv = add("a");
    struct sensor handle;
    sensor_init(&handle, "a");
    EXPECT_EQ(hist_value_list_add_if_not_present(&list_, &handle), hv);
    sensor_destruct(&handle);
}

TEST_F(HistValueList, BucketsAreTheLowEightBitsOfTheHash)
{
    add("\x90\x90");  // 288: bucket 32, which is that of " "
    add(" ");
    add("a");
    EXPECT_EQ(current(), (names{" ", "\x90\x90", "a"}));
    EXPECT_NE(list_.buckets[32], nullptr);
}

TEST_F(HistValueList, SensorsOfOneBucketAreListedLatestFirst)
{
    add("ab");
    add("ba");
    EXPECT_EQ(current(), (names{"ba", "ab"}));
}

TEST_F(HistValueList, OrderIsThatOfBucketsNotOfAddition)
{
    add("c");
    add("a");
    add("b");
    EXPECT_EQ(current(), (names{"a", "b", "c"}));
}

// --- generations ---

TEST_F(HistValueList, ClearStartsAGenerationAndFreesNothing)
{
    hist_value *const before = add("a");
    hist_value_update(before, 1.0f);
    const test::allocation_count blocks;
    hist_value_list_clear(&list_);
    EXPECT_EQ(list_.seq, 1);
    EXPECT_EQ(hist_value_list_is_empty(&list_), 1);
    EXPECT_EQ(current(), names{});
    hist_value *const after = add("a");
    EXPECT_EQ(after, before);
    EXPECT_EQ(after->count, 0u);
    EXPECT_EQ(after->sum, 0.0f);
    EXPECT_EQ(hist_value_list_get_size(&list_), 1u);
    add("a");
    EXPECT_EQ(hist_value_list_get_size(&list_), 1u);
    EXPECT_EQ(blocks.live(), 0);
}

TEST_F(HistValueList, RecycledEntryKeepsItsPlaceInTheChain)
{
    add("abc");
    add("acb");
    add("bac");
    hist_value_list_clear(&list_);
    add("acb");
    add("abc");
    EXPECT_EQ(current(), (names{"acb", "abc"}));
    add("cab");
    add("bac");
    EXPECT_EQ(current(), (names{"cab", "bac", "acb", "abc"}));
}

TEST_F(HistValueList, EarlierGenerationsAreLeftOut)
{
    add("a");
    hist_value_list_clear(&list_);
    add("b");
    EXPECT_EQ(current(), names{"b"});
    const sensor_array_ptr only_b = new_sensors({"b"});
    EXPECT_EQ(hist_value_list_are_sensors_equal(&list_, only_b.get()), 1);
    EXPECT_EQ(_sensors.nsensors, 2u) << "the entry of a keeps its sensor";
}

TEST_F(HistValueList, CanBeCleared65535Times)
{
    add("a");
    for (int i = 0; i < 65535; ++i) hist_value_list_clear(&list_);
    EXPECT_EQ(list_.seq, 65535);
    EXPECT_EQ(add("a")->count, 0u);
    EXPECT_ABORTS_IN("hist_value_list_clear", hist_value_list_clear(&list_),
                     "list->seq != 0");
}

TEST_F(HistValueList, DestructFreesEveryGeneration)
{
    add("a");
    hist_value_list_clear(&list_);
    add("b");
    hist_value_list_destruct(&list_);
    expect_empty_registry();
    EXPECT_EQ(list_.nitems, 0u);
    for (const auto *bucket : list_.buckets) EXPECT_EQ(bucket, nullptr);
}

// --- copies ---

TEST_F(HistValueList, ValueCopiesStandInTheOrderOfTheSensors)
{
    hist_value_update(add("b"), 2.0f);
    hist_value_update(add("a"), 1.0f);
    hist_value *const copies = hist_value_list_get_hist_value_copies(&list_);
    ASSERT_NE(copies, nullptr);
    EXPECT_EQ(current(), (names{"a", "b"}));
    EXPECT_EQ(copies[0].version, HIST_VALUE_VERSION);
    EXPECT_EQ(copies[0].sum, 1.0f);
    EXPECT_EQ(copies[1].sum, 2.0f);
    free(copies);
}

TEST_F(HistValueList, CopiesOfAnEmptyListAreNullWithoutAnError)
{
    vela_set_last_error(KOR_ERR_FULL);
    EXPECT_EQ(hist_value_list_get_sensor_copies(&list_), nullptr);
    EXPECT_EQ(hist_value_list_get_hist_value_copies(&list_), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_FULL);
}

TEST_F(HistValueList, SensorsAreComparedInIterationOrder)
{
    add("b");
    add("a");
    const sensor_array_ptr ab = new_sensors({"a", "b"});
    const sensor_array_ptr ba = new_sensors({"b", "a"});
    const sensor_array_ptr a = new_sensors({"a"});
    const sensor_array_ptr null(sensor_array_create_null());
    EXPECT_EQ(hist_value_list_are_sensors_equal(&list_, ab.get()), 1);
    EXPECT_EQ(hist_value_list_are_sensors_equal(&list_, ba.get()), 0);
    EXPECT_EQ(hist_value_list_are_sensors_equal(&list_, a.get()), 0);
    EXPECT_EQ(hist_value_list_are_sensors_equal(&list_, null.get()), 0);
    hist_value_list_clear(&list_);
    EXPECT_EQ(hist_value_list_are_sensors_equal(&list_, null.get()), 1);
}

// --- out of memory ---

TEST_F(HistValueList, FailedAllocationsAreOutOfMemory)
{
    test::expect_every_allocation_failure_is_clean([] {
        hist_value_list *list = hist_value_list_create();
        if (list == nullptr) return vela_get_last_error();
        hist_value_list_destroy(&list);
        return int{KOR_OK};
    });
    test::expect_every_allocation_failure_is_clean([this] {
        sensor_array_ptr copies;
        add("a");
        if (list_.nitems == 0) return vela_get_last_error();
        copies.reset(hist_value_list_get_sensor_copies(&list_));
        hist_value *const values =
            hist_value_list_get_hist_value_copies(&list_);
        const bool complete = copies != nullptr && values != nullptr;
        free(values);
        hist_value_list_destruct(&list_);
        return complete ? int{KOR_OK} : vela_get_last_error();
    });
}

TEST_F(HistValueList, FailedAddLeavesTheListAsItWas)
{
    add("ab");
    const sensor_ptr ba = new_sensor("ba");
    {
        const test::failing_allocation entry(0);
        EXPECT_EQ(hist_value_list_add_if_not_present(&list_, ba.get()),
                  nullptr);
        EXPECT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
    }
    EXPECT_EQ(current(), names{"ab"});
}

// --- broken preconditions ---

using HistValueListDeathTest = HistValueList;

TEST_F(HistValueListDeathTest, EveryOperationNeedsAList)
{
    hist_value_list *none = nullptr;
    const sensor_array_ptr a = new_sensors({"a"});
    EXPECT_ABORTS(hist_value_list_init(none), "list != NULL");
    EXPECT_ABORTS(hist_value_list_destruct(none), "list != NULL");
    EXPECT_ABORTS(hist_value_list_destroy(nullptr), "list != NULL");
    EXPECT_ABORTS(hist_value_list_destroy(&none), "*list != NULL");
    EXPECT_ABORTS(hist_value_list_add_if_not_present(none, a->sensors[0]),
                  "list != NULL");
    EXPECT_ABORTS(hist_value_list_is_empty(none), "list != NULL");
    EXPECT_ABORTS(hist_value_list_get_size(none), "list != NULL");
    EXPECT_ABORTS(hist_value_list_get_sensor_copies(none), "list != NULL");
    EXPECT_ABORTS(hist_value_list_get_hist_value_copies(none), "list != NULL");
    EXPECT_ABORTS(hist_value_list_are_sensors_equal(none, a.get()),
                  "list != NULL");
    EXPECT_ABORTS(hist_value_list_clear(none), "list != NULL");
}

TEST_F(HistValueListDeathTest, ArgumentsMustBeLive)
{
    struct sensor dead = {};
    sensor_array dead_array = {};
    EXPECT_ABORTS(hist_value_list_add_if_not_present(&list_, nullptr),
                  "sensor != NULL");
    EXPECT_ABORTS(hist_value_list_add_if_not_present(&list_, &dead),
                  "s->version == SENSOR_VERSION");
    EXPECT_ABORTS(hist_value_list_are_sensors_equal(&list_, nullptr),
                  "s_array != NULL");
    EXPECT_ABORTS(hist_value_list_are_sensors_equal(&list_, &dead_array),
                  "s_array->version == SENSOR_ARRAY_VERSION");
}

TEST_F(HistValueListDeathTest, ValueOfAnEntryMustBeLive)
{
    hist_value *const hv = add("a");
    hist_value_destruct(hv);
    hist_value_list_clear(&list_);
    EXPECT_ABORTS(add("a"), "hv->version == HIST_VALUE_VERSION");
    EXPECT_ABORTS(hist_value_list_destruct(&list_),
                  "hv->version == HIST_VALUE_VERSION");
    hist_value_init(hv);
}

}  // namespace
