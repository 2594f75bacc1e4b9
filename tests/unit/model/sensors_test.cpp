#include "sensors.h"

#include <cstddef>
#include <map>

#include "model_support.hpp"

using test::expect_empty_registry;
using test::name_of;
using test::new_sensor;
using test::numbered;
using test::sensor_ptr;

static_assert(test::is_layout(sizeof(sensors_node), 32, 16));
static_assert(test::is_layout(offsetof(sensors_node, sensor), 8, 4));
static_assert(test::is_layout(offsetof(sensors_node, nrefs), 16, 8));
static_assert(test::is_layout(offsetof(sensors_node, next), 24, 12));
static_assert(test::is_layout(sizeof(sensors), 16, 8));

namespace {

constexpr uint32_t nbuckets = 32;

class Sensors : public testing::Test {
protected:
    void TearDown() override { expect_empty_registry(); }
};
using SensorsDeathTest = Sensors;

sensors_node *node_of(const struct sensor *s)
{
    sensors_node *node = _sensors.buckets[s->hash_code % nbuckets];
    while (node != nullptr && node->sensor != s) node = node->next;
    return node;
}

using chain = std::vector<std::pair<std::string, uint32_t>>;

// Name and references of each node, from the head.
chain chain_of(uint32_t bucket)
{
    chain nodes;
    if (_sensors.buckets == nullptr) return nodes;
    for (const sensors_node *node = _sensors.buckets[bucket]; node != nullptr;
         node = node->next)
        nodes.emplace_back(node->name, node->nrefs);
    return nodes;
}

TEST_F(Sensors, StartEmpty)
{
    expect_empty_registry();
}

TEST_F(Sensors, OneNameIsOneNodeWithAsManyReferencesAsCalls)
{
    const sensor_ptr first = new_sensor("abc");
    const sensor_ptr second = new_sensor("abc");
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(_sensors.nsensors, 1u);
    EXPECT_EQ(chain_of(first->hash_code % nbuckets), (chain{{"abc", 2}}));
    const sensors_node *const node = node_of(first.get());
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(first->name, node->name);
}

TEST_F(Sensors, NameIsCopied)
{
    char name[] = "abc";
    const sensor_ptr s(sensors_get_sensor(name));
    name[0] = 'x';
    EXPECT_EQ(name_of(s.get()), "abc");
}

TEST_F(Sensors, NewestNodeStandsAtTheHeadOfItsChain)
{
    const sensor_ptr ab = new_sensor("ab");
    const sensor_ptr ba = new_sensor("ba");
    const sensor_ptr same_bucket = new_sensor("b\x81");  // 32 above
    const sensor_ptr other = new_sensor("zz");
    const sensor_ptr again = new_sensor("ab");
    EXPECT_EQ(_sensors.nsensors, 4u);
    EXPECT_EQ(chain_of(ab->hash_code % nbuckets),
              (chain{{"b\x81", 1}, {"ba", 1}, {"ab", 2}}));
}

TEST_F(Sensors, NodesLeaveTheirChainFromAnyPlace)
{
    sensor_ptr a = new_sensor("abc"), b = new_sensor("acb"),
               c = new_sensor("bac"), d = new_sensor("bca");
    const uint32_t bucket = a->hash_code % nbuckets;
    b.reset();
    EXPECT_EQ(chain_of(bucket), (chain{{"bca", 1}, {"bac", 1}, {"abc", 1}}));
    d.reset();
    EXPECT_EQ(chain_of(bucket), (chain{{"bac", 1}, {"abc", 1}}));
    a.reset();
    EXPECT_EQ(chain_of(bucket), (chain{{"bac", 1}}));
}

TEST_F(Sensors, LastReferenceFreesEverythingAndTheNextStartsAnew)
{
    for (int round = 0; round < 3; ++round) {
        const test::allocation_count blocks;
        struct sensor *s = sensors_get_sensor("abc");
        sensors_get_sensor("abc");
        sensors_destroy_sensor(s);
        EXPECT_EQ(node_of(s)->nrefs, 1u);
        sensors_destroy_sensor(s);
        expect_empty_registry();
        EXPECT_EQ(blocks.live(), 0);
    }
}

TEST_F(Sensors, HandleReleasesTheCanonicalReference)
{
    struct sensor handle;
    sensor_init(&handle, "abc");
    const sensor_ptr canonical = new_sensor("abc");
    _sensors_increment_ref_count(&handle);
    EXPECT_EQ(node_of(canonical.get())->nrefs, 3u);
    sensors_destroy_sensor(&handle);
    sensors_destroy_sensor(&handle);
    EXPECT_EQ(node_of(canonical.get())->nrefs, 1u);
}

TEST_F(Sensors, FailedCreationLeavesNothingBehind)
{
    for (const bool in_use : {false, true}) {
        const sensor_ptr other = in_use ? new_sensor("other") : nullptr;
        test::expect_every_allocation_failure_is_clean([&] {
            struct sensor *s = sensors_get_sensor("abc");
            EXPECT_EQ(_sensors.nsensors, (in_use ? 1u : 0u) + (s != nullptr));
            if (s == nullptr) {
                EXPECT_EQ(_sensors.buckets != nullptr, in_use);
                return vela_get_last_error();
            }
            sensors_destroy_sensor(s);
            return int{KOR_OK};
        });
    }
}

TEST_F(Sensors, CreateGivesZeroedPointers)
{
    auto **pointers = static_cast<void **>(sensors_create(5));
    ASSERT_NE(pointers, nullptr);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(pointers[i], nullptr);
    free(pointers);
    test::expect_every_allocation_failure_is_clean([] {
        void *const block = sensors_create(5);
        if (block == nullptr) return vela_get_last_error();
        free(block);
        return int{KOR_OK};
    });
}

// --- many sensors ---

// A plain model of what the registry shows.
class expected_registry {
public:
    void take(const std::string &name)
    {
        if (++references_[name] == 1)
            chains_[bucket_of(name)].insert(chains_[bucket_of(name)].begin(),
                                            name);
    }
    void drop(const std::string &name)
    {
        if (--references_[name] > 0) return;
        references_.erase(name);
        auto &names = chains_[bucket_of(name)];
        names.erase(std::find(names.begin(), names.end(), name));
    }
    void expect_shown() const
    {
        ASSERT_EQ(_sensors.nsensors, references_.size());
        for (uint32_t bucket = 0; bucket < nbuckets; ++bucket) {
            chain nodes;
            for (const std::string &name : chains_[bucket])
                nodes.emplace_back(name, references_.at(name));
            ASSERT_EQ(chain_of(bucket), nodes) << "bucket " << bucket;
        }
    }

private:
    static uint32_t bucket_of(const std::string &name)
    {
        uint32_t sum = 0;
        for (const char c : name) sum += static_cast<unsigned char>(c);
        return sum % nbuckets;
    }
    std::map<std::string, uint32_t> references_;
    std::vector<std::string> chains_[nbuckets];
};

TEST_F(Sensors, ShowTheirPlainChainsThroughARandomLife)
{
    test::dice dice(20070101);
    expected_registry expected;
    std::vector<sensor_ptr> held;
    for (int step = 0; step < 6000; ++step) {
        const bool growing = step % 2000 < 1200;
        if (held.empty() || dice.below(10) < (growing ? 8u : 3u)) {
            const std::string name = numbered("SENSOR ", dice.below(900));
            held.push_back(new_sensor(name));
            ASSERT_EQ(name_of(held.back().get()), name);
            expected.take(name);
        } else {
            std::swap(held[dice.below(uint32_t(held.size()))], held.back());
            expected.drop(name_of(held.back().get()));
            held.pop_back();
        }
        if (step % 100 == 0) expected.expect_shown();
    }
    expected.expect_shown();
}

TEST_F(Sensors, OfOneHashAreToldApart)
{
    std::vector<sensor_ptr> held;
    for (unsigned i = 0; i < 200; ++i) {  // all of the sum 255 + 2 * 'x'
        const char name[] = {static_cast<char>(i + 1), 'x',
                             static_cast<char>(254 - i), 'x', '\0'};
        held.push_back(new_sensor(name));
        EXPECT_EQ(new_sensor(name).get(), held.back().get());
    }
    EXPECT_EQ(_sensors.nsensors, 200u);
    EXPECT_EQ(chain_of(held[0]->hash_code % nbuckets).size(), 200u);
}

// Looking sensors up faster is a convenience: it must never fail a call.
TEST_F(Sensors, NeedNoMemoryBeyondNodeAndName)
{
    std::vector<sensor_ptr> held;
    int spared = 0;
    for (uint32_t i = 0; i < 400; ++i) {
        const test::failing_allocation third(i == 0 ? 3 : 2);
        held.push_back(new_sensor(numbered("s", i)));
        ASSERT_NE(held.back(), nullptr);
        spared += third.reached();
    }
    EXPECT_GT(spared, 0);
    for (uint32_t i = 0; i < 400; ++i)
        EXPECT_EQ(new_sensor(numbered("s", i)).get(), held[i].get());
    held.push_back(new_sensor("one more"));  // and now there is memory
    for (uint32_t i = 0; i < 400; ++i)
        EXPECT_EQ(new_sensor(numbered("s", i)).get(), held[i].get());
}

TEST_F(Sensors, ManySensorsLeaveNoBlockBehind)
{
    const test::allocation_count blocks;
    {
        std::vector<sensor_ptr> held;
        for (uint32_t i = 0; i < 1000; ++i)
            held.push_back(new_sensor(numbered("s", i)));
        EXPECT_GT(blocks.live(), 1000);
    }
    expect_empty_registry();
    EXPECT_EQ(blocks.live(), 0);
}

// --- broken preconditions ---

TEST_F(SensorsDeathTest, LookupNeedsANameAndWholeNodes)
{
    EXPECT_ABORTS_IN("sensors_get_sensor", sensors_get_sensor(nullptr),
                     "name != NULL");
    const sensor_ptr s = new_sensor("abc");
    sensors_node *const node = node_of(s.get());
    node->sensor = nullptr;
    EXPECT_ABORTS_IN("sensors_get_sensor", sensors_get_sensor("abc"),
                     "node->sensor != NULL");
    node->sensor = s.get();
    node->nrefs = 0;
    EXPECT_ABORTS_IN("sensors_get_sensor", sensors_get_sensor("abc"),
                     "node->nrefs > 0");
    node->nrefs = 1;
}

TEST_F(SensorsDeathTest, ReleaseNeedsARegisteredSensor)
{
    struct sensor null, foreign;
    sensor_init_null(&null);
    sensor_init_null(&foreign);
    foreign.canonical = &foreign;
    EXPECT_ABORTS_IN("sensors_destroy_sensor", sensors_destroy_sensor(nullptr),
                     "sensor != NULL");
    EXPECT_ABORTS_IN("sensors_destroy_sensor", sensors_destroy_sensor(&null),
                     "sensor->canonical != NULL");
    EXPECT_ABORTS_IN("sensors_destroy_sensor", sensors_destroy_sensor(&foreign),
                     "_sensors.buckets != NULL");
    const sensor_ptr s = new_sensor("abc");
    EXPECT_ABORTS_IN("sensors_destroy_sensor", sensors_destroy_sensor(&foreign),
                     "node != NULL");
    EXPECT_ABORTS_IN("_sensors_increment_ref_count",
                     _sensors_increment_ref_count(&foreign), "node != NULL");
}

// A handle whose canonical sensor is gone: its memory must not be read.
TEST_F(SensorsDeathTest, ReleaseOfAStaleHandleAborts)
{
    const sensor_ptr other = new_sensor("other");
    struct sensor stale;
    sensor_init(&stale, "abc");
    struct sensor twice = stale;
    sensor_destruct(&stale);
    EXPECT_ABORTS_IN("sensors_destroy_sensor", sensor_destruct(&twice),
                     "node != NULL");
    EXPECT_ABORTS_IN("_sensors_increment_ref_count",
                     sensor_copy(&twice, nullptr), "node != NULL");
}

TEST_F(SensorsDeathTest, CountsMustNotRunBelowZero)
{
    const sensor_ptr s = new_sensor("abc");
    sensors_node *const node = node_of(s.get());
    node->nrefs = 0;
    EXPECT_ABORTS_IN("sensors_destroy_sensor", sensors_destroy_sensor(s.get()),
                     "node->nrefs > 0");
    EXPECT_ABORTS_IN("_sensors_increment_ref_count",
                     _sensors_increment_ref_count(s.get()), "node->nrefs > 0");
    node->nrefs = 1;
    _sensors.nsensors = 0;
    EXPECT_ABORTS_IN("sensors_destroy_sensor", sensors_destroy_sensor(s.get()),
                     "_sensors.nsensors > 0");
    _sensors.nsensors = 1;
}

TEST_F(SensorsDeathTest, ReleasedSensorMustBeCanonical)
{
    const sensor_ptr s = new_sensor("abc");
    struct sensor handle = {};
    handle.version = SENSOR_VERSION;
    handle.canonical = s.get();
    s->canonical = nullptr;
    EXPECT_ABORTS(sensors_destroy_sensor(&handle),
                  "_sensor_is_canonical(sensor)");
    s->canonical = s.get();
}

TEST_F(SensorsDeathTest, IncrementNeedsARegisteredSensor)
{
    struct sensor null;
    sensor_init_null(&null);
    EXPECT_ABORTS_IN("_sensors_increment_ref_count",
                     _sensors_increment_ref_count(nullptr), "sensor != NULL");
    EXPECT_ABORTS_IN("_sensors_increment_ref_count",
                     _sensors_increment_ref_count(&null),
                     "sensor->canonical != NULL");
    null.canonical = &null;
    EXPECT_ABORTS_IN("_sensors_increment_ref_count",
                     _sensors_increment_ref_count(&null),
                     "_sensors.buckets != NULL");
}

}  // namespace
