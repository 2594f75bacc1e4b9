#include "timestamp_array.h"

#include <cstddef>

#include "model_support.hpp"

using test::memory_reader;
using test::memory_writer;

static_assert(test::is_layout(sizeof(timestamp_array), 24, 16));
static_assert(offsetof(timestamp_array, ntimestamps) == 4);
static_assert(offsetof(timestamp_array, ref_count) == 8);
static_assert(test::is_layout(offsetof(timestamp_array, timestamps), 16, 12));

namespace {

timestamp at(int32_t seconds)
{
    timestamp t;
    timestamp_init_null(&t);
    t.tv.tv_sec = seconds;
    return t;
}

timestamp *new_at(int32_t seconds)
{
    const timestamp t = at(seconds);
    return timestamp_copy(&t, nullptr);
}

timestamp_array *counting_from(int32_t seconds, uint32_t n)
{
    const timestamp start = at(seconds);
    return timestamp_array_create_dummy(&start, n);
}

std::vector<int32_t> seconds_of(const timestamp_array *array)
{
    std::vector<int32_t> seconds;
    for (uint32_t i = 0; i < array->ntimestamps; ++i)
        seconds.push_back(array->timestamps[i]->tv.tv_sec);
    return seconds;
}

void expect_null(const timestamp_array &array, uint8_t version)
{
    EXPECT_EQ(array.version, version);
    EXPECT_EQ(array.ntimestamps, 0u);
    EXPECT_EQ(array.ref_count, nullptr);
    EXPECT_EQ(array.timestamps, nullptr);
}

// --- life ---

TEST(TimestampArray, TakesTheCallersPointers)
{
    const test::allocation_count blocks;
    auto **items = static_cast<timestamp **>(calloc(2, sizeof(timestamp *)));
    items[0] = new_at(5);
    items[1] = new_at(6);
    timestamp_array *array = timestamp_array_create(items, 2);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(timestamp_array_get_timestamps(array), items);
    EXPECT_EQ(timestamp_array_get_size(array), 2u);
    EXPECT_EQ(*array->ref_count, 1u);
    EXPECT_EQ(timestamp_array_get(array, 1)->tv.tv_sec, 6);
    timestamp_array_destroy(&array);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(blocks.live(), 0);
}

TEST(TimestampArray, KeepsTheCallersPointersWhenOutOfMemory)
{
    timestamp first = at(1);
    timestamp *items[] = {&first};
    timestamp_array array;
    {
        const test::failing_allocation counter(0);
        EXPECT_EQ(timestamp_array_init(&array, items, 1), KOR_ERR_NO_MEMORY);
    }
    expect_null(array, TIMESTAMP_ARRAY_VERSION);
    EXPECT_EQ(items[0], &first);
    timestamp_array_destruct(&array);  // has nothing to release
    for (const int n : {0, 1}) {
        const test::failing_allocation failing(n);
        EXPECT_EQ(timestamp_array_create(items, 1), nullptr);
        EXPECT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
    }
}

TEST(TimestampArray, EmptyHasNullElements)
{
    timestamp_array *array = timestamp_array_create_empty(3);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->ntimestamps, 3u);
    EXPECT_EQ(*array->ref_count, 1u);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(timestamp_array_get(array, i), nullptr);
    timestamp_array_destroy(&array);
}

TEST(TimestampArray, NullHasNothing)
{
    timestamp_array *array = timestamp_array_create_null();
    ASSERT_NE(array, nullptr);
    expect_null(*array, TIMESTAMP_ARRAY_VERSION);
    EXPECT_EQ(timestamp_array_get_size(array), 0u);
    EXPECT_EQ(timestamp_array_get_timestamps(array), nullptr);
    timestamp_array_destroy(&array);
}

TEST(TimestampArray, DummyCountsUpFromTheStart)
{
    timestamp_array *array = counting_from(10, 3);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(seconds_of(array), (std::vector<int32_t>{10, 11, 12}));
    timestamp_array_destroy(&array);
}

TEST(TimestampArray, FailedDummyIsDestructed)
{
    const timestamp start = at(1);
    for (int n = 0; n < 4; ++n) {
        timestamp_array array;
        const test::failing_allocation failing(n);
        EXPECT_EQ(timestamp_array_init_dummy(&array, &start, 2),
                  KOR_ERR_NO_MEMORY);
        EXPECT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
        expect_null(array, 0);
    }
}

TEST(TimestampArray, DestructResetsTheObject)
{
    timestamp_array array;
    ASSERT_EQ(timestamp_array_init_empty(&array, 1), KOR_OK);
    timestamp_array_destruct(&array);
    expect_null(array, 0);
}

TEST(TimestampArray, FailedAllocationsAreOutOfMemory)
{
    static timestamp_array *const source = counting_from(1, 2);
    struct timestamp_array *(*const creators[])() = {
        timestamp_array_create_null,
        [] { return timestamp_array_create_empty(4); },
        [] { return counting_from(7, 5); },
        [] { return timestamp_array_copy(source); },
    };
    for (const auto create : creators)
        test::expect_every_allocation_failure_is_clean([&] {
            timestamp_array *array = create();
            if (array == nullptr) return vela_get_last_error();
            timestamp_array_destroy(&array);
            return int{KOR_OK};
        });
    timestamp_array *last = source;
    EXPECT_EQ(*last->ref_count, 1u);
    timestamp_array_destroy(&last);
}

// --- sharing ---

TEST(TimestampArray, LastOfTwoCopiesFreesTheElements)
{
    const test::allocation_count blocks;
    timestamp_array *array = counting_from(1, 2);
    timestamp_array *copy = timestamp_array_copy(array);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->timestamps, array->timestamps);
    EXPECT_EQ(copy->ref_count, array->ref_count);
    EXPECT_EQ(*copy->ref_count, 2u);
    timestamp_array_destroy(&array);
    EXPECT_EQ(*copy->ref_count, 1u);
    EXPECT_EQ(seconds_of(copy), (std::vector<int32_t>{1, 2}));
    timestamp_array_destroy(&copy);
    EXPECT_EQ(blocks.live(), 0);
}

TEST(TimestampArray, CopyOfANullArrayIsANullArray)
{
    timestamp_array *array = timestamp_array_create_null();
    timestamp_array *copy = timestamp_array_copy(array);
    ASSERT_NE(copy, nullptr);
    expect_null(*copy, TIMESTAMP_ARRAY_VERSION);
    timestamp_array_destroy(&copy);
    timestamp_array_destroy(&array);
}

TEST(TimestampArray, SetReplacesAndEveryCopySeesIt)
{
    const test::allocation_count blocks;
    timestamp_array *array = counting_from(1, 2);
    timestamp_array *copy = timestamp_array_copy(array);
    timestamp *const late = new_at(99);
    EXPECT_EQ(timestamp_array_set(array, 1, late), late);
    EXPECT_EQ(timestamp_array_get(copy, 1), late);
    EXPECT_EQ(timestamp_array_set(copy, 1, late), late);  // itself: kept
    EXPECT_EQ(seconds_of(array), (std::vector<int32_t>{1, 99}));
    timestamp_array_destroy(&array);
    timestamp_array_destroy(&copy);
    EXPECT_EQ(blocks.live(), 0);
}

// --- equality ---

TEST(TimestampArray, EqualityComparesSecondsInOrder)
{
    timestamp_array *a = counting_from(1, 2);
    timestamp_array *same = counting_from(1, 2);
    timestamp_array *later = counting_from(2, 2);
    timestamp_array *longer = counting_from(1, 3);
    timestamp_array *shared = timestamp_array_copy(a);
    EXPECT_EQ(timestamp_array_is_equal(a, same), 1);
    EXPECT_EQ(timestamp_array_is_equal(a, shared), 1);
    EXPECT_EQ(timestamp_array_is_equal(a, later), 0);
    EXPECT_EQ(timestamp_array_is_equal(a, longer), 0);
    for (timestamp_array *array : {a, same, later, longer, shared})
        timestamp_array_destroy(&array);
}

TEST(TimestampArray, SharedEqualityLooksAtNoElement)
{
    timestamp_array *empty = timestamp_array_create_empty(2);
    EXPECT_EQ(timestamp_array_is_equal(empty, empty), 1);
    timestamp_array_destroy(&empty);
}

TEST(TimestampArray, NullArraysEqualOnlyEachOther)
{
    timestamp_array *null = timestamp_array_create_null();
    timestamp_array *other = timestamp_array_create_null();
    timestamp_array *one = counting_from(1, 1);
    EXPECT_EQ(timestamp_array_is_equal(null, other), 1);
    EXPECT_EQ(timestamp_array_is_equal(null, one), 0);
    other->ntimestamps = 1;  // the same size, but without elements
    EXPECT_EQ(timestamp_array_is_equal(other, one), 0);
    EXPECT_EQ(timestamp_array_is_equal(one, other), 0);
    other->ntimestamps = 0;
    for (timestamp_array *array : {null, other, one})
        timestamp_array_destroy(&array);
}

// --- stored form ---

const std::string two_stored =
    test::bytes("01 00000002  01 00000007 00000000  01 00000008 00000000");

int read_array(const std::string &stored, timestamp_array *array)
{
    memory_reader in(stored);
    return binary_serializer_read_timestamp_array(array, in.get());
}

int read_and_drop(struct reader *in)
{
    timestamp_array array;
    timestamp_array_init_null(&array);
    const int nread = binary_serializer_read_timestamp_array(&array, in);
    if (nread <= 0) expect_null(array, TIMESTAMP_ARRAY_VERSION);
    timestamp_array_destruct(&array);
    return nread;
}

TEST(TimestampArray, IsStoredAsCountAndElements)
{
    timestamp_array *array = counting_from(7, 2);
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_timestamp_array(array, out.get()), 23);
    EXPECT_EQ(out.bytes(), two_stored);
    timestamp_array_destroy(&array);
}

TEST(TimestampArray, IsReadWithACounterOfOne)
{
    timestamp_array array;
    timestamp_array_init_null(&array);
    ASSERT_EQ(read_array(two_stored, &array), 23);
    EXPECT_EQ(*array.ref_count, 1u);
    EXPECT_EQ(seconds_of(&array), (std::vector<int32_t>{7, 8}));
    timestamp_array_destruct(&array);
}

TEST(TimestampArray, EveryCutIsRefused)
{
    test::expect_every_cut_is_refused(two_stored, {.when_empty = 0},
                                      read_and_drop);
}

struct damaged_row {
    const char *name;
    const char *hex;
    int code;
};
class DamagedTimestampArray : public testing::TestWithParam<damaged_row> {};

TEST_P(DamagedTimestampArray, GivesItsCodeAndLeavesNothing)
{
    const test::allocation_count blocks;
    timestamp_array array;
    timestamp_array_init_null(&array);
    EXPECT_EQ(read_array(test::bytes(GetParam().hex), &array), GetParam().code);
    expect_null(array, TIMESTAMP_ARRAY_VERSION);
    EXPECT_EQ(blocks.live(), 0);
}

constexpr damaged_row damaged_rows[] = {
    {"AnotherVersion", "02", KOR_ERR_WRONG_VERSION},
    {"NoCount", "01", KOR_ERR_TRUNCATED},
    {"CountZero", "01 00000000", KOR_ERR_TOO_LONG},
    {"CountAboveLimit", "01 00002711", KOR_ERR_TOO_LONG},
    {"CountOfAllBits", "01 FFFFFFFF", KOR_ERR_TOO_LONG},
    {"LargestCountWithoutElements", "01 00002710", KOR_ERR_TRUNCATED},
    {"ElementOfAnotherVersion",
     "01 00000002 01 00000007 00000000 00 00000007 00000000",
     KOR_ERR_WRONG_VERSION},
    {"ElementWithMicroseconds",
     "01 00000002 01 00000007 00000000 01 00000007 00000001",
     KOR_ERR_INVALID_DATA},
};
INSTANTIATE_TEST_SUITE_P(Table, DamagedTimestampArray,
                         testing::ValuesIn(damaged_rows), [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST(TimestampArray, MoreThan10000ElementsAreNotWritten)
{
    timestamp_array *array = timestamp_array_create_empty(10001);
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_timestamp_array(array, out.get()),
              KOR_ERR_TOO_LONG);
    EXPECT_EQ(out.calls(), 0);
    timestamp_array_destroy(&array);
}

TEST(TimestampArray, TenThousandElementsSurviveARoundTrip)
{
    timestamp_array *array = counting_from(7, 10000);
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_timestamp_array(array, out.get()), 90005);
    timestamp_array back;
    timestamp_array_init_null(&back);
    EXPECT_EQ(read_array(out.bytes(), &back), 90005);
    EXPECT_EQ(timestamp_array_is_equal(array, &back), 1);
    timestamp_array_destruct(&back);
    timestamp_array_destroy(&array);
}

TEST(TimestampArray, PassesStreamErrorsUp)
{
    timestamp_array *array = counting_from(7, 2);
    for (int calls = 0; calls < 8; ++calls) {
        memory_writer out;
        out.fail_after(calls, KOR_ERR_DEFLATE);
        EXPECT_EQ(binary_serializer_write_timestamp_array(array, out.get()),
                  KOR_ERR_DEFLATE);
        memory_reader in(two_stored);
        in.fail_after(calls, KOR_ERR_INFLATE);
        EXPECT_EQ(read_and_drop(in.get()), KOR_ERR_INFLATE);
    }
    timestamp_array_destroy(&array);
}

TEST(TimestampArray, FailedAllocationsWhileReadingAreOutOfMemory)
{
    test::expect_every_allocation_failure_is_clean([] {
        memory_reader in(two_stored);
        return std::min(read_and_drop(in.get()), int{KOR_OK});
    });
}

// --- broken preconditions ---

class TimestampArrayDeathTest : public testing::Test {
protected:
    void SetUp() override { array_ = counting_from(1, 2); }
    void TearDown() override { timestamp_array_destroy(&array_); }

    timestamp_array *array_ = nullptr;
    timestamp_array *none_ = nullptr;
    timestamp_array dead_ = {};
    timestamp t_ = at(1);
    timestamp_array storage_ = {};
};

TEST_F(TimestampArrayDeathTest, InitsNeedStorageAndElements)
{
    timestamp *items[] = {&t_};
    EXPECT_ABORTS(timestamp_array_init(none_, items, 1), "array != NULL");
    EXPECT_ABORTS(timestamp_array_init(&storage_, nullptr, 1),
                  "timestamps != NULL");
    EXPECT_ABORTS(timestamp_array_init(&storage_, items, 0), "ntimestamps > 0");
    EXPECT_ABORTS(timestamp_array_create(nullptr, 1), "timestamps != NULL");
    EXPECT_ABORTS(timestamp_array_create(items, 0), "ntimestamps > 0");
    EXPECT_ABORTS(timestamp_array_init_empty(none_, 1), "array != NULL");
    EXPECT_ABORTS(timestamp_array_init_empty(&storage_, 0), "ntimestamps > 0");
    EXPECT_ABORTS(timestamp_array_create_empty(0), "ntimestamps > 0");
    EXPECT_ABORTS(timestamp_array_init_null(none_), "array != NULL");
    EXPECT_ABORTS(timestamp_array_init_dummy(none_, &t_, 1), "array != NULL");
    EXPECT_ABORTS(timestamp_array_init_dummy(&storage_, nullptr, 1),
                  "start != NULL");
    EXPECT_ABORTS(timestamp_array_init_dummy(&storage_, &t_, 0),
                  "ntimestamps > 0");
    EXPECT_ABORTS(timestamp_array_create_dummy(nullptr, 1), "start != NULL");
}

TEST_F(TimestampArrayDeathTest, DestructionNeedsALiveCountedArray)
{
    EXPECT_ABORTS(timestamp_array_destruct(none_), "array != NULL");
    EXPECT_ABORTS(timestamp_array_destruct(&dead_),
                  "array->version == TIMESTAMP_ARRAY_VERSION");
    EXPECT_ABORTS_IN("timestamp_array_destroy", timestamp_array_destroy(&none_),
                     "*array != NULL");
    timestamp_array broken = *array_;
    uint32_t zero = 0;
    broken.ref_count = &zero;
    EXPECT_ABORTS(timestamp_array_destruct(&broken), "*array->ref_count > 0");
    EXPECT_ABORTS(timestamp_array_copy(&broken), "*array->ref_count > 0");
    broken = *array_;
    broken.timestamps = nullptr;
    EXPECT_ABORTS(timestamp_array_destruct(&broken),
                  "array->timestamps != NULL");
}

TEST_F(TimestampArrayDeathTest, EqualityNeedsLiveArraysAndElements)
{
    EXPECT_ABORTS(timestamp_array_is_equal(none_, array_), "s1 != NULL");
    EXPECT_ABORTS(timestamp_array_is_equal(&dead_, array_),
                  "s1->version == TIMESTAMP_ARRAY_VERSION");
    EXPECT_ABORTS(timestamp_array_is_equal(array_, none_), "s2 != NULL");
    EXPECT_ABORTS(timestamp_array_is_equal(array_, &dead_),
                  "s2->version == TIMESTAMP_ARRAY_VERSION");
    timestamp_array odd = *array_;
    odd.ntimestamps = 1;
    EXPECT_ABORTS(timestamp_array_is_equal(array_, &odd),
                  "s1->ntimestamps == s2->ntimestamps");
    odd = *array_;
    odd.ref_count = nullptr;
    EXPECT_ABORTS(timestamp_array_is_equal(array_, &odd),
                  "s1->ref_count == s2->ref_count");
    timestamp_array *empty = timestamp_array_create_empty(2);
    EXPECT_ABORTS(timestamp_array_is_equal(empty, array_),
                  "s1->timestamps[i] != NULL");
    EXPECT_ABORTS(timestamp_array_is_equal(array_, empty),
                  "s2->timestamps[i] != NULL");
    timestamp_array_destroy(&empty);
}

TEST_F(TimestampArrayDeathTest, ElementsAreReachedWithinBounds)
{
    EXPECT_ABORTS(timestamp_array_get(none_, 0), "array != NULL");
    EXPECT_ABORTS(timestamp_array_get(&dead_, 0),
                  "array->version == TIMESTAMP_ARRAY_VERSION");
    EXPECT_ABORTS(timestamp_array_get(array_, -1), "i >= 0");
    EXPECT_ABORTS(timestamp_array_get(array_, 2), "i < array->ntimestamps");
    EXPECT_ABORTS(timestamp_array_set(none_, 0, &t_), "array != NULL");
    EXPECT_ABORTS(timestamp_array_set(&dead_, 0, &t_),
                  "array->version == TIMESTAMP_ARRAY_VERSION");
    EXPECT_ABORTS(timestamp_array_set(array_, 0, nullptr), "t != NULL");
    EXPECT_ABORTS(timestamp_array_set(array_, -1, &t_), "i >= 0");
    EXPECT_ABORTS(timestamp_array_set(array_, 2, &t_),
                  "i < array->ntimestamps");
}

TEST_F(TimestampArrayDeathTest, AccessorsNeedALiveArray)
{
    EXPECT_ABORTS(timestamp_array_copy(none_), "array != NULL");
    EXPECT_ABORTS(timestamp_array_copy(&dead_),
                  "array->version == TIMESTAMP_ARRAY_VERSION");
    EXPECT_ABORTS(timestamp_array_get_timestamps(none_), "array != NULL");
    EXPECT_ABORTS(timestamp_array_get_timestamps(&dead_),
                  "array->version == TIMESTAMP_ARRAY_VERSION");
    EXPECT_ABORTS(timestamp_array_get_size(none_), "array != NULL");
    EXPECT_ABORTS(timestamp_array_get_size(&dead_),
                  "array->version == TIMESTAMP_ARRAY_VERSION");
}

TEST_F(TimestampArrayDeathTest, SerializersNeedALiveFilledArray)
{
    memory_writer out;
    memory_reader in("");
    EXPECT_ABORTS(binary_serializer_write_timestamp_array(none_, out.get()),
                  "array != NULL");
    EXPECT_ABORTS(binary_serializer_write_timestamp_array(&dead_, out.get()),
                  "array->version == 1");
    timestamp_array odd = *array_;
    odd.timestamps = nullptr;
    EXPECT_ABORTS(binary_serializer_write_timestamp_array(&odd, out.get()),
                  "array->timestamps != NULL");
    odd = *array_;
    odd.ntimestamps = 0;
    EXPECT_ABORTS(binary_serializer_write_timestamp_array(&odd, out.get()),
                  "array->ntimestamps > 0");
    timestamp_array *empty = timestamp_array_create_empty(1);
    EXPECT_ABORTS(binary_serializer_write_timestamp_array(empty, out.get()),
                  "array->timestamps[i] != NULL");
    timestamp_array_destroy(&empty);
    EXPECT_ABORTS(binary_serializer_read_timestamp_array(none_, in.get()),
                  "array != NULL");
    EXPECT_ABORTS(binary_serializer_read_timestamp_array(&dead_, in.get()),
                  "array->version == 1");
}

}  // namespace
