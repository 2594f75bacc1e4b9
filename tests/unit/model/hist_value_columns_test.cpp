#include "model/hist_value_columns.hpp"

#include "model_support.hpp"

using test::expect_empty_registry;
using test::new_sensor;
using test::new_sensors;
using test::numbered;
using test::sensor_array_ptr;
using test::sensor_ptr;
using vela::hist_columns;

namespace {

// Two lists that are given the same readings, one through columns and one by
// a search for each reading.
class HistColumns : public testing::Test {
protected:
    void SetUp() override
    {
        hist_value_list_init(&fast_);
        hist_value_list_init(&plain_);
    }
    void TearDown() override
    {
        sensors_.reset();
        hist_value_list_destruct(&fast_);
        hist_value_list_destruct(&plain_);
        expect_empty_registry();
    }

    void bind(const std::vector<std::string> &names)
    {
        sensors_ = new_sensors(names);
        ASSERT_EQ(columns_.bind(fast_, *sensors_), KOR_OK);
    }
    void sample(float reading)
    {
        for (uint32_t i = 0; i < sensors_->nsensors; ++i) {
            const float value = reading + float(i);
            hist_value *const hv = columns_.claim(i);
            ASSERT_NE(hv, nullptr);
            hist_value_update(hv, value);
            hist_value_update(hist_value_list_add_if_not_present(
                                  &plain_, sensors_->sensors[i]),
                              value);
        }
    }
    void clear()
    {
        hist_value_list_clear(&fast_);
        hist_value_list_clear(&plain_);
    }
    void expect_same_lists() const;

    hist_value_list fast_, plain_;
    hist_columns columns_;
    sensor_array_ptr sensors_;
};

void HistColumns::expect_same_lists() const
{
    ASSERT_EQ(fast_.seq, plain_.seq);
    ASSERT_EQ(fast_.nitems, plain_.nitems);
    for (int b = 0; b < 256; ++b) {
        const hist_value_list_entry *f = fast_.buckets[b];
        const hist_value_list_entry *p = plain_.buckets[b];
        for (; f != nullptr && p != nullptr; f = f->next, p = p->next) {
            ASSERT_EQ(f->sensor, p->sensor) << "bucket " << b;
            ASSERT_EQ(f->seq, p->seq);
            ASSERT_EQ(
                std::memcmp(&f->hvalue.count, &p->hvalue.count,
                            sizeof f->hvalue - offsetof(hist_value, count)),
                0);
        }
        ASSERT_EQ(f, p) << "chains of one length in bucket " << b;
    }
}

TEST_F(HistColumns, FirstSampleAddsInColumnOrder)
{
    bind({"ba", "ab", "zz"});
    EXPECT_EQ(fast_.nitems, 0u) << "binding alone adds nothing";
    sample(1.0f);
    expect_same_lists();
    EXPECT_EQ(fast_.nitems, 3u);
}

TEST_F(HistColumns, BindingWithoutASampleAddsNothing)
{
    bind({"never", "sampled"});
    bind({"a"});
    sample(1.0f);
    expect_same_lists();
    EXPECT_EQ(fast_.nitems, 1u);
}

TEST_F(HistColumns, ClaimsAgainAfterAClear)
{
    bind({"ab", "ba"});
    sample(1.0f);
    sample(2.0f);
    clear();
    EXPECT_EQ(fast_.nitems, 0u);
    sample(7.0f);
    expect_same_lists();
    EXPECT_EQ(fast_.nitems, 2u);
}

TEST_F(HistColumns, OneSensorInTwoColumnsIsOneValue)
{
    bind({"a", "b", "a"});
    EXPECT_EQ(columns_.claim(0), columns_.claim(2));
    sample(1.0f);
    EXPECT_EQ(fast_.nitems, 2u);
    EXPECT_EQ(columns_.claim(0)->count, 2u);
    expect_same_lists();
}

TEST_F(HistColumns, FindsWhatOthersAdded)
{
    const sensor_ptr ab = new_sensor("ab"), ba = new_sensor("ba");
    for (hist_value_list *list : {&fast_, &plain_})
        hist_value_list_add_if_not_present(list, ab.get());
    bind({"ba", "ab", "abc"});
    sample(1.0f);
    const sensor_ptr cab = new_sensor("cab");
    for (hist_value_list *list : {&fast_, &plain_})
        hist_value_list_add_if_not_present(list, cab.get());
    bind({"bac", "cab", "abc"});
    sample(2.0f);
    expect_same_lists();
}

TEST_F(HistColumns, HandlesStandForTheirCanonicalSensors)
{
    sensors_.reset(sensor_array_create_empty(1));
    struct sensor *const handle = sensor_create_null();
    const sensor_ptr a = new_sensor("a");
    sensor_copy(a.get(), handle);
    sensor_array_set(sensors_.get(), 0, handle);
    ASSERT_EQ(columns_.bind(fast_, *sensors_), KOR_OK);
    sample(1.0f);
    expect_same_lists();
}

TEST_F(HistColumns, TwoOfThemShareAList)
{
    bind({"a", "b"});
    hist_columns other;
    const sensor_array_ptr names = new_sensors({"b", "a", "c"});
    ASSERT_EQ(other.bind(fast_, *names), KOR_OK);
    hist_value *const a = columns_.claim(0);
    EXPECT_EQ(other.claim(1), a);
    EXPECT_EQ(other.claim(0), columns_.claim(1));
    EXPECT_EQ(fast_.nitems, 2u);
}

TEST_F(HistColumns, SteadySensorsNeedNoAllocation)
{
    bind({"a", "b", "c"});
    sample(1.0f);
    const test::allocation_count blocks;
    for (int i = 0; i < 10; ++i) {
        clear();
        sample(2.0f);
        ASSERT_EQ(columns_.bind(fast_, *sensors_), KOR_OK);
        sample(3.0f);
    }
    EXPECT_EQ(blocks.total(), 0);
}

// --- against the plain path, at random ---

class RandomHistColumns : public HistColumns,
                          public testing::WithParamInterface<uint32_t> {
protected:
    std::vector<std::string> random_names()
    {
        std::vector<std::string> names(1 + dice_.below(40));
        for (std::string &name : names)
            name = numbered(dice_.below(2) ? "SENSOR" : "T", dice_.below(90));
        return names;
    }
    // Claims only some columns, as a reader that fails on the way would.
    void partial_sample()
    {
        for (uint32_t i = 0; i < dice_.below(sensors_->nsensors); ++i) {
            ASSERT_NE(columns_.claim(i), nullptr);
            hist_value_list_add_if_not_present(&plain_, sensors_->sensors[i]);
        }
    }
    void add_elsewhere()
    {
        const sensor_ptr s = new_sensor(numbered("SENSOR", dice_.below(200)));
        for (hist_value_list *list : {&fast_, &plain_})
            hist_value_list_add_if_not_present(list, s.get());
    }
    void step()
    {
        switch (dice_.below(10)) {
            case 0:
            case 1:
                return bind(random_names());
            case 2:
                return clear();
            case 3:
                return add_elsewhere();
            case 4:
                return partial_sample();
            default:
                return sample(float(dice_.below(100)));
        }
    }

    test::dice dice_{GetParam()};
};

TEST_P(RandomHistColumns, LeaveTheListOfThePlainPath)
{
    bind(random_names());
    for (int i = 0; i < 300; ++i) {
        step();
        if (HasFatalFailure()) return;
        expect_same_lists();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomHistColumns, testing::Range(1u, 13u));

// --- out of memory ---

TEST_F(HistColumns, FailedBindIsOutOfMemoryAndCanBeRepeated)
{
    sensors_ = new_sensors({"a", "b"});
    {
        const test::failing_allocation columns(0);
        EXPECT_EQ(columns_.bind(fast_, *sensors_), KOR_ERR_NO_MEMORY);
    }
    ASSERT_EQ(columns_.bind(fast_, *sensors_), KOR_OK);
    sample(1.0f);
    expect_same_lists();
}

// Remembering entries is a convenience: it must never fail a claim.
TEST_F(HistColumns, FindsWhatOthersAddedEvenWithoutMemory)
{
    const sensor_ptr ab = new_sensor("ab"), ba = new_sensor("ba");
    hist_value *expected = nullptr;
    for (const sensor_ptr *s : {&ab, &ba})
        expected = hist_value_list_add_if_not_present(&fast_, s->get());
    bind({"ba"});
    for (const int failing : {0, 1}) {
        hist_columns columns;
        ASSERT_EQ(columns.bind(fast_, *sensors_), KOR_OK);
        const test::failing_allocation one(failing);
        EXPECT_EQ(columns.claim(0), expected);
        EXPECT_TRUE(one.reached());
    }
    EXPECT_EQ(fast_.nitems, 2u);
}

// Whichever allocation fails: a claim either works or is out of memory and
// works when repeated, and the list is that of the plain path.
TEST_F(HistColumns, FailedAllocationsNeverChangeTheResult)
{
    std::vector<std::string> names;
    for (uint32_t i = 0; i < 150; ++i) names.push_back(numbered("S", i % 120));
    sensors_ = new_sensors(names);
    bool reached = true;
    for (int failing = 1; reached; ++failing) {
        SCOPED_TRACE(failing);
        hist_columns columns;
        {
            const test::failing_allocation one(failing);
            ASSERT_EQ(columns.bind(fast_, *sensors_), KOR_OK);
            for (uint32_t i = 0; i < names.size(); ++i) {
                vela_set_last_error(KOR_OK);
                if (columns.claim(i) == nullptr) {
                    ASSERT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
                    ASSERT_NE(columns.claim(i), nullptr);
                }
            }
            reached = one.reached();
        }
        for (uint32_t i = 0; i < names.size(); ++i)
            hist_value_list_add_if_not_present(&plain_, sensors_->sensors[i]);
        expect_same_lists();
        hist_value_list_destruct(&fast_);
        hist_value_list_destruct(&plain_);
    }
}

// --- broken preconditions ---

using HistColumnsDeathTest = HistColumns;

TEST_F(HistColumnsDeathTest, ClaimsStayWithinTheColumns)
{
    EXPECT_ABORTS(columns_.claim(0), "i < ncolumns_");
    bind({"a", "b"});
    EXPECT_ABORTS(columns_.claim(2), "i < ncolumns_");
    bind({"a"});
    EXPECT_ABORTS(columns_.claim(1), "i < ncolumns_");
}

TEST_F(HistColumnsDeathTest, BindNeedsOneListAndWholeArrays)
{
    bind({"a"});
    EXPECT_ABORTS((void)columns_.bind(plain_, *sensors_),
                  "list_ == NULL || list_ == &list");
    const sensor_array_ptr empty(sensor_array_create_empty(1));
    EXPECT_ABORTS((void)columns_.bind(fast_, *empty),
                  "sensors.sensors[i] != NULL");
}

}  // namespace
