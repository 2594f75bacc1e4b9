#include "hist_value.h"

#include <cstddef>
#include <cstdio>
#include <limits>

#include "model_support.hpp"
#include "raw_reader.h"
#include "raw_writer.h"

using test::bits_of;
using test::float_of;
using test::memory_reader;
using test::memory_writer;

static_assert(sizeof(hist_value) == 40);
static_assert(offsetof(hist_value, count) == 4);
static_assert(offsetof(hist_value, min) == 8);
static_assert(offsetof(hist_value, sum4) == 36);

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

hist_value fresh()
{
    hist_value hv;
    hist_value_init(&hv);
    return hv;
}

hist_value of(std::initializer_list<float> readings)
{
    hist_value hv = fresh();
    for (const float reading : readings) hist_value_update(&hv, reading);
    return hv;
}

constexpr sensor_value hist_value::*floats[] = {
    &hist_value::min, &hist_value::max,  &hist_value::first, &hist_value::last,
    &hist_value::sum, &hist_value::sum2, &hist_value::sum3,  &hist_value::sum4};

// Every field by its bits: sums are stored, so "nearly" is not enough.
void expect_same_bits(const hist_value &actual, const hist_value &expected)
{
    EXPECT_EQ(actual.version, expected.version);
    EXPECT_EQ(actual.count, expected.count);
    for (const auto field : floats)
        EXPECT_EQ(bits_of(actual.*field), bits_of(expected.*field))
            << actual.*field << " instead of " << expected.*field;
}

TEST(HistValue, StartsWithZeros)
{
    hist_value *hv = hist_value_create();
    ASSERT_NE(hv, nullptr);
    EXPECT_EQ(hv->version, HIST_VALUE_VERSION);
    EXPECT_EQ(hv->count, 0u);
    for (const auto field : floats) EXPECT_EQ(bits_of(hv->*field), 0u);
    hist_value_destroy(&hv);
    EXPECT_EQ(hv, nullptr);
}

TEST(HistValue, DestructClearsTheVersion)
{
    hist_value hv = fresh();
    hist_value_destruct(&hv);
    EXPECT_EQ(hv.version, 0);
}

// --- update ---

TEST(HistValue, InvalidReadingsChangeNothing)
{
    hist_value hv = of(
        {_vela_invalid_sensor_value, std::numeric_limits<float>::quiet_NaN()});
    expect_same_bits(hv, fresh());
    hv = of({2.0f, _vela_invalid_sensor_value});
    expect_same_bits(hv, of({2.0f}));
}

TEST(HistValue, OneReadingFillsEveryField)
{
    const hist_value hv = of({-3.0f});
    EXPECT_EQ(hv.count, 1u);
    EXPECT_EQ(hv.min, -3.0f);
    EXPECT_EQ(hv.max, -3.0f);
    EXPECT_EQ(hv.first, -3.0f);
    EXPECT_EQ(hv.last, -3.0f);
    EXPECT_EQ(hv.sum, -3.0f);
    EXPECT_EQ(hv.sum2, 9.0f);
    EXPECT_EQ(hv.sum3, -27.0f);
    EXPECT_EQ(hv.sum4, 81.0f);
}

TEST(HistValue, ReadingsMoveExtremesAndLast)
{
    const hist_value hv = of({2.0f, 5.0f, -1.0f, 3.0f});
    EXPECT_EQ(hv.count, 4u);
    EXPECT_EQ(hv.min, -1.0f);
    EXPECT_EQ(hv.max, 5.0f);
    EXPECT_EQ(hv.first, 2.0f);
    EXPECT_EQ(hv.last, 3.0f);
    EXPECT_EQ(hv.sum, 9.0f);
    EXPECT_EQ(hv.sum2, 39.0f);
    EXPECT_EQ(hv.sum3, 159.0f);
    EXPECT_EQ(hv.sum4, 723.0f);
}

// -0 is not below 0, and 0 not above -0.
TEST(HistValue, EqualReadingsDoNotMoveTheExtremes)
{
    hist_value hv = of({0.0f, -0.0f});
    EXPECT_EQ(bits_of(hv.min), bits_of(0.0f));
    EXPECT_EQ(bits_of(hv.max), bits_of(0.0f));
    EXPECT_EQ(bits_of(hv.last), bits_of(-0.0f));
    hv = of({-0.0f, 0.0f});
    EXPECT_EQ(bits_of(hv.min), bits_of(-0.0f));
    EXPECT_EQ(bits_of(hv.max), bits_of(-0.0f));
}

TEST(HistValue, ComputesInSinglePrecisionInOrder)
{
    test::dice dice(4711);
    hist_value expected = fresh();
    hist_value hv = fresh();
    for (int i = 0; i < 1000; ++i) {
        const float reading = float(dice.below(1000000)) / 997.0f - 500.0f;
        hist_value_update(&hv, reading);
        volatile float p2 = reading * reading;
        volatile float p3 = p2 * reading;
        volatile float p4 = p3 * reading;
        volatile float sum = expected.sum + reading;
        volatile float sum2 = expected.sum2 + p2;
        volatile float sum3 = expected.sum3 + p3;
        volatile float sum4 = expected.sum4 + p4;
        expected.sum = sum;
        expected.sum2 = sum2;
        expected.sum3 = sum3;
        expected.sum4 = sum4;
        expected.count += 1;
        expected.first = i == 0 ? reading : expected.first;
        expected.min = i == 0 ? reading : std::min(expected.min, reading);
        expected.max = i == 0 ? reading : std::max(expected.max, reading);
        expected.last = reading;
    }
    expect_same_bits(hv, expected);
}

// Where rounding in another order, or not at all, would show.
TEST(HistValue, PowersAreRoundedOneAfterAnother)
{
    int differing = 0;
    for (int i = 1; i <= 100; ++i) {
        const float reading = 1.0f + float(i) / 7.0f;
        volatile float p2 = reading * reading;
        volatile float p3 = p2 * reading;
        volatile float p4 = p3 * reading;
        volatile float square_of_square = p2 * p2;
        const hist_value hv = of({reading});
        EXPECT_EQ(bits_of(hv.sum2), bits_of(p2));
        EXPECT_EQ(bits_of(hv.sum3), bits_of(p3));
        EXPECT_EQ(bits_of(hv.sum4), bits_of(p4));
        differing += p4 != square_of_square;
    }
    EXPECT_GT(differing, 0);
}

TEST(HistValue, LargeReadingsOverflowToInfinity)
{
    const hist_value hv = of({6e9f});
    EXPECT_EQ(hv.sum4, infinity);
    EXPECT_EQ(hv.sum, 6e9f);
}

// --- merge ---

TEST(HistValue, SumsOfOppositeInfinitiesAreTheSameNanOnEveryMachine)
{
    constexpr uint32_t quiet_nan = 0x7fc00000;
    const hist_value infinities = of({infinity, -infinity});
    EXPECT_EQ(bits_of(infinities.sum), quiet_nan);
    EXPECT_EQ(infinities.sum2, infinity);
    EXPECT_EQ(bits_of(infinities.sum3), quiet_nan);

    hist_value merged = of({1e20f});
    hist_value_merge_with(&merged, &infinities);
    EXPECT_EQ(bits_of(merged.sum), quiet_nan);
    merged = of({-1e20f});
    const hist_value later = of({1e20f, 5.0f});
    hist_value_merge_with(&merged, &later);
    EXPECT_EQ(bits_of(merged.sum3), quiet_nan);
    EXPECT_EQ(merged.sum4, infinity);
}

TEST(HistValue, MergingIntoAnEmptyValueTakesTheOther)
{
    hist_value hv = fresh();
    hv.version = HIST_VALUE_VERSION;
    const hist_value other = of({2.0f, 5.0f, 1.0f});
    hist_value_merge_with(&hv, &other);
    expect_same_bits(hv, other);
}

TEST(HistValue, MergingAnEmptyValueChangesNothingNotEvenLast)
{
    hist_value hv = of({2.0f, 5.0f});
    hist_value empty = fresh();
    empty.last = 77.0f;
    hist_value_merge_with(&hv, &empty);
    expect_same_bits(hv, of({2.0f, 5.0f}));
}

TEST(HistValue, MergeIsInTimeOrder)
{
    hist_value earlier = of({2.0f, 5.0f});
    const hist_value later = of({9.0f, -1.0f, 4.0f});
    hist_value_merge_with(&earlier, &later);
    EXPECT_EQ(earlier.count, 5u);
    EXPECT_EQ(earlier.min, -1.0f);
    EXPECT_EQ(earlier.max, 9.0f);
    EXPECT_EQ(earlier.first, 2.0f);
    EXPECT_EQ(earlier.last, 4.0f);
    EXPECT_EQ(earlier.sum, 19.0f);
    EXPECT_EQ(earlier.sum2, 29.0f + 98.0f);
    EXPECT_EQ(earlier.sum3, 133.0f + 729.0f - 1.0f + 64.0f);
    EXPECT_EQ(earlier.sum4, 641.0f + 6561.0f + 1.0f + 256.0f);
}

TEST(HistValue, MergeKeepsStricterExtremes)
{
    hist_value hv = of({-10.0f, 10.0f});
    const hist_value inner = of({1.0f});
    hist_value_merge_with(&hv, &inner);
    EXPECT_EQ(hv.min, -10.0f);
    EXPECT_EQ(hv.max, 10.0f);
}

// Of two zeros neither is below or above the other: the later one stays.
TEST(HistValue, MergeTakesTheLaterOfEqualExtremes)
{
    hist_value hv = of({0.0f});
    const hist_value later = of({-0.0f});
    hist_value_merge_with(&hv, &later);
    EXPECT_EQ(bits_of(hv.min), bits_of(-0.0f));
    EXPECT_EQ(bits_of(hv.max), bits_of(-0.0f));
}

// --- equality and copies ---

TEST(HistValue, EqualityIsTolerantInEveryFloatAndExactInTheCount)
{
    const hist_value hv = of({1.0f, 2.0f});
    hist_value other = hv;
    EXPECT_EQ(hist_value_is_equal(&hv, &other), 1);
    other.count = 3;
    EXPECT_EQ(hist_value_is_equal(&hv, &other), 0);
    for (const auto field : floats) {
        other = hv;
        other.*field += 5e-7f;
        EXPECT_EQ(hist_value_is_equal(&hv, &other), 1);
        other.*field += 1e-3f;
        EXPECT_EQ(hist_value_is_equal(&hv, &other), 0);
    }
}

TEST(HistValue, CopiesIntoUninitialisedOrNewStorage)
{
    const hist_value hv = of({1.0f, -7.0f});
    hist_value storage;
    std::memset(&storage, 0xEE, sizeof storage);
    EXPECT_EQ(hist_value_copy(&hv, &storage), &storage);
    expect_same_bits(storage, hv);
    hist_value *made = hist_value_copy(&hv, nullptr);
    ASSERT_NE(made, nullptr);
    expect_same_bits(*made, hv);
    hist_value_destroy(&made);
}

TEST(HistValue, FailedAllocationsAreOutOfMemory)
{
    static const hist_value source = of({1.0f});
    struct hist_value *(*const creators[])() = {hist_value_create, [] {
                                                    return hist_value_copy(
                                                        &source, nullptr);
                                                }};
    for (const auto create : creators)
        test::expect_every_allocation_failure_is_clean([&] {
            hist_value *hv = create();
            if (hv == nullptr) return vela_get_last_error();
            hist_value_destroy(&hv);
            return int{KOR_OK};
        });
}

// --- stored form ---

const std::string stored = test::bytes(
    "01 00000004 BF800000 40A00000 40000000 40400000 41100000 421C0000"
    "431F0000 4434C000");

hist_value of_stored()
{
    return of({2.0f, 5.0f, -1.0f, 3.0f});
}

TEST(HistValue, IsStoredIn37Bytes)
{
    memory_writer out;
    const hist_value hv = of_stored();
    EXPECT_EQ(binary_serializer_write_hist_value(&hv, out.get()), 37);
    EXPECT_EQ(out.bytes(), stored);
    EXPECT_EQ(out.calls(), 10) << "a foreign writer gets field by field";
}

TEST(HistValue, IsReadBack)
{
    memory_reader in(stored);
    hist_value hv = fresh();
    EXPECT_EQ(binary_serializer_read_hist_value(&hv, in.get()), 37);
    expect_same_bits(hv, of_stored());
}

TEST(HistValue, StoredBitsOfNansAreKept)
{
    hist_value hv = fresh();
    hv.min = float_of(0x7FFFFFFF);
    hv.max = float_of(0xFFC00001);
    hv.sum4 = float_of(0x00000001);
    memory_writer out;
    binary_serializer_write_hist_value(&hv, out.get());
    memory_reader in(out.bytes());
    hist_value back = fresh();
    EXPECT_EQ(binary_serializer_read_hist_value(&back, in.get()), 37);
    expect_same_bits(back, hv);
}

TEST(HistValue, EveryCutIsRefusedAndLeavesTheTargetAlone)
{
    test::expect_every_cut_is_refused(
        stored, {.when_empty = 0}, [](struct reader *in) {
            hist_value hv = of({8.0f});
            const int nread = binary_serializer_read_hist_value(&hv, in);
            expect_same_bits(hv, nread > 0 ? of_stored() : of({8.0f}));
            return nread;
        });
}

TEST(HistValue, AnotherStoredVersionIsRefusedWhateverFollows)
{
    for (const char *const hex : {"00", "02", "FF 00000001"}) {
        memory_reader in(test::bytes(hex));
        hist_value hv = fresh();
        EXPECT_EQ(binary_serializer_read_hist_value(&hv, in.get()),
                  KOR_ERR_WRONG_VERSION);
        EXPECT_EQ(hv.version, HIST_VALUE_VERSION);
    }
}

TEST(HistValue, PassesStreamErrorsUp)
{
    const hist_value source = of_stored();
    for (int calls = 0; calls < 10; ++calls) {
        memory_writer out;
        out.fail_after(calls, KOR_ERR_DEFLATE);
        EXPECT_EQ(binary_serializer_write_hist_value(&source, out.get()),
                  KOR_ERR_DEFLATE);
        EXPECT_EQ(out.calls(), calls + 1);
        memory_reader in(stored);
        in.fail_after(calls, KOR_ERR_INFLATE);
        hist_value hv = fresh();
        EXPECT_EQ(binary_serializer_read_hist_value(&hv, in.get()),
                  KOR_ERR_INFLATE);
    }
}

// Through the library's own file streams, which take whole runs of fields.
TEST(HistValue, EveryCutOfAFileIsRefused)
{
    for (size_t cut = 0; cut <= stored.size(); ++cut) {
        SCOPED_TRACE(cut);
        FILE *const file = std::tmpfile();
        struct writer *out = raw_writer_create(file, 1);
        const hist_value source = of_stored();
        ASSERT_EQ(binary_serializer_write_hist_value(&source, out), 37);
        writer_destroy(&out);
        ASSERT_EQ(ftruncate(fileno(file), static_cast<off_t>(cut)), 0);
        std::rewind(file);
        struct reader *in = raw_reader_create(file, 0);
        hist_value hv = fresh();
        const int nread = binary_serializer_read_hist_value(&hv, in);
        reader_destroy(&in);
        EXPECT_EQ(nread, cut == 0               ? 0
                         : cut == stored.size() ? 37
                                                : KOR_ERR_TRUNCATED);
        expect_same_bits(hv, nread > 0 ? of_stored() : fresh());
    }
}

// --- broken preconditions ---

class HistValueDeathTest : public testing::Test {
protected:
    hist_value good_ = of({1.0f});
    hist_value dead_ = {};
    hist_value *none_ = nullptr;
};

TEST_F(HistValueDeathTest, LifeNeedsALiveValue)
{
    EXPECT_ABORTS(hist_value_init(none_), "hv != NULL");
    EXPECT_ABORTS(hist_value_destruct(none_), "hv != NULL");
    EXPECT_ABORTS(hist_value_destruct(&dead_),
                  "hv->version == HIST_VALUE_VERSION");
    EXPECT_ABORTS(hist_value_destroy(nullptr), "hv != NULL");
    EXPECT_ABORTS(hist_value_destroy(&none_), "*hv != NULL");
    EXPECT_ABORTS(hist_value_copy(none_, &good_), "hv != NULL");
    EXPECT_ABORTS(hist_value_copy(&dead_, &good_),
                  "hv->version == HIST_VALUE_VERSION");
}

TEST_F(HistValueDeathTest, OperationsNeedLiveValues)
{
    EXPECT_ABORTS(hist_value_update(none_, 1.0f), "hv != NULL");
    EXPECT_ABORTS(hist_value_update(&dead_, 1.0f),
                  "hv->version == HIST_VALUE_VERSION");
    EXPECT_ABORTS(hist_value_merge_with(none_, &good_), "hv1 != NULL");
    EXPECT_ABORTS(hist_value_merge_with(&dead_, &good_),
                  "hv1->version == HIST_VALUE_VERSION");
    EXPECT_ABORTS(hist_value_merge_with(&good_, none_), "hv2 != NULL");
    EXPECT_ABORTS(hist_value_merge_with(&good_, &dead_),
                  "hv2->version == HIST_VALUE_VERSION");
    EXPECT_ABORTS(hist_value_is_equal(none_, &good_), "hv1 != NULL");
    EXPECT_ABORTS(hist_value_is_equal(&dead_, &good_),
                  "hv1->version == HIST_VALUE_VERSION");
    EXPECT_ABORTS(hist_value_is_equal(&good_, none_), "hv2 != NULL");
    EXPECT_ABORTS(hist_value_is_equal(&good_, &dead_),
                  "hv2->version == HIST_VALUE_VERSION");
}

// Part of the interface: infinities cannot be compared.
TEST_F(HistValueDeathTest, EqualInfiniteSumsAbort)
{
    const hist_value large = of({6e9f});
    EXPECT_ABORTS(hist_value_is_equal(&large, &large), "fabs(c) <= EPSILON");
}

TEST_F(HistValueDeathTest, SerializersNeedALiveValue)
{
    memory_writer out;
    memory_reader in("");
    EXPECT_ABORTS(binary_serializer_write_hist_value(none_, out.get()),
                  "hv != NULL");
    EXPECT_ABORTS(binary_serializer_write_hist_value(&dead_, out.get()),
                  "hv->version == 1");
    EXPECT_ABORTS(binary_serializer_read_hist_value(none_, in.get()),
                  "hv != NULL");
    EXPECT_ABORTS(binary_serializer_read_hist_value(&dead_, in.get()),
                  "hv->version == 1");
}

}  // namespace
