// sensors: the registry of interned names.
//
// What `_sensors` shows is 32 chains by the sum of a name's bytes.  Ordinary
// names have much the same sums, so the chains of a large machine grow long.
// Two hash tables, by name and by the address of the canonical sensor, find
// any node at once; they hold the same nodes as the chains at all times.  The
// first tables lie in the block of the bucket heads, so they need no
// allocation that could fail; ones that cannot grow later stay as they are.
#include "sensors.h"

#include <cstdlib>
#include <cstring>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "model/sensor_internal.hpp"

constinit struct sensors _sensors = {nullptr, 0};

namespace {

constexpr uint32_t nbuckets = 32;
constexpr uint32_t first_table_size = 64;

// A node of the chains with what only the registry knows of it.
struct registered : sensors_node {
    struct sensor canonical;     // what `sensor` points at
    struct sensors_node **link;  // what points at this node in its chain
    registered *next_by_name;
    registered *next_by_address;
    uint32_t name_hash;
};

using slot = registered *;

struct registry {
    struct sensors_node *buckets[nbuckets];  // where `_sensors.buckets` points
    slot *by_name;
    slot *by_address;
    uint32_t table_size;  // of each table, a power of two
    slot *grown;          // the block of grown tables, owned; null at first
    slot first_by_name[first_table_size];
    slot first_by_address[first_table_size];
};

struct name_hashes {
    uint32_t sum;     // the sensor's hash code
    uint32_t spread;  // for the table by name
};

registry &current()
{
    return *static_cast<registry *>(static_cast<void *>(_sensors.buckets));
}

slot &name_slot(const registry &r, uint32_t name_hash)
{
    return r.by_name[name_hash & (r.table_size - 1)];
}

slot &address_slot(const registry &r, const struct sensor *canonical)
{
    return r.by_address[vela::hash_of_address(canonical) & (r.table_size - 1)];
}

bool open_registry()
{
    if (_sensors.buckets != nullptr) return true;
    auto *const r = static_cast<registry *>(std::calloc(1, sizeof(registry)));
    if (r == nullptr) return false;
    r->by_name = r->first_by_name;
    r->by_address = r->first_by_address;
    r->table_size = first_table_size;
    _sensors.buckets = r->buckets;
    return true;
}

void close_registry_if_empty()
{
    if (_sensors.nsensors > 0) return;
    std::free(current().grown);
    std::free(_sensors.buckets);
    _sensors.buckets = nullptr;
}

name_hashes hashes_of(const char *name)
{
    name_hashes hashes = {0, 2166136261u};
    for (; *name != '\0'; ++name) {
        const auto byte = static_cast<unsigned char>(*name);
        hashes.sum += byte;
        hashes.spread = (hashes.spread ^ byte) * 16777619u;
    }
    hashes.spread ^= hashes.spread >> 16;
    return hashes;
}

void enter_tables(registry &r, registered *node)
{
    slot &named = name_slot(r, node->name_hash);
    node->next_by_name = named;
    named = node;
    slot &placed = address_slot(r, &node->canonical);
    node->next_by_address = placed;
    placed = node;
}

void leave_tables(registry &r, const registered *node)
{
    slot *named = &name_slot(r, node->name_hash);
    while (*named != node) named = &(*named)->next_by_name;
    *named = node->next_by_name;
    slot *placed = &address_slot(r, &node->canonical);
    while (*placed != node) placed = &(*placed)->next_by_address;
    *placed = node->next_by_address;
}

// Keeps the tables at least as large as the number of sensors, if it can.
void grow_tables(registry &r)
{
    if (_sensors.nsensors <= r.table_size) return;
    const uint32_t size = 2 * r.table_size;
    auto *const slots =
        static_cast<slot *>(std::calloc(size, 2 * sizeof(slot)));
    if (slots == nullptr) return;
    std::free(r.grown);
    r.grown = slots;
    r.by_name = slots;
    r.by_address = slots + size;
    r.table_size = size;
    for (struct sensors_node *chain : r.buckets)
        for (; chain != nullptr; chain = chain->next)
            enter_tables(r, static_cast<registered *>(chain));
}

void push(struct sensors_node **head, registered *node)
{
    node->next = *head;
    node->link = head;
    if (node->next != nullptr)
        static_cast<registered *>(node->next)->link = &node->next;
    *head = node;
}

void unlink_from_chain(registered *node)
{
    *node->link = node->next;
    if (node->next != nullptr)
        static_cast<registered *>(node->next)->link = node->link;
}

// A new node with one reference, or null.
registered *new_node(const char *name, const name_hashes &hashes)
{
    vela::heap<registered> node(
        static_cast<registered *>(std::malloc(sizeof(registered))));
    vela::heap<char> copy(strdup(name));
    if (!node || !copy) return nullptr;
    _sensor_create(&node->canonical, copy.get(), hashes.sum);
    node->name = copy.release();
    node->sensor = &node->canonical;
    node->nrefs = 1;
    node->name_hash = hashes.spread;
    return node.release();
}

struct sensor *add(const char *name, const name_hashes &hashes)
{
    registered *const node = new_node(name, hashes);
    if (node == nullptr) {
        close_registry_if_empty();
        return vela::fail(KOR_ERR_NO_MEMORY);
    }
    push(&_sensors.buckets[hashes.sum % nbuckets], node);
    enter_tables(current(), node);
    ++_sensors.nsensors;
    grow_tables(current());
    return node->sensor;
}

// The node of a canonical sensor; null for any other address, which may be
// that of a block long freed and is only compared.
registered *node_at(const struct sensor *canonical)
{
    registered *node = address_slot(current(), canonical);
    while (node != nullptr && node->sensor != canonical)
        node = node->next_by_address;
    return node;
}

void remove_node(registered *node)
{
    leave_tables(current(), node);
    unlink_from_chain(node);
    std::free(node->name);
    std::free(node);
    --_sensors.nsensors;
    close_registry_if_empty();
}

}  // namespace

struct sensor *sensors_get_sensor(const char *name)
{
    KOR_ASSERT(name != NULL);
    if (!open_registry()) return vela::fail(KOR_ERR_NO_MEMORY);
    const name_hashes hashes = hashes_of(name);
    registered *node = name_slot(current(), hashes.spread);
    for (; node != nullptr; node = node->next_by_name) {
        KOR_ASSERT(node->sensor != NULL);
        if (node->sensor->hash_code != hashes.sum) continue;
        if (std::strcmp(node->name, name) != 0) continue;
        KOR_ASSERT(node->nrefs > 0);
        ++node->nrefs;
        return node->sensor;
    }
    return add(name, hashes);
}

void sensors_destroy_sensor(struct sensor *sensor)
{
    KOR_ASSERT(sensor != NULL);
    KOR_ASSERT(sensor->canonical != NULL);
    KOR_ASSERT(_sensors.buckets != NULL);
    registered *const node = node_at(sensor->canonical);
    KOR_ASSERT(node != NULL);
    KOR_ASSERT(node->nrefs > 0);
    if (--node->nrefs > 0) return;
    KOR_ASSERT(_sensors.nsensors > 0);
    sensor = node->sensor;
    KOR_ASSERT(_sensor_is_canonical(sensor));
    remove_node(node);
}

void _sensors_increment_ref_count(struct sensor *sensor)
{
    KOR_ASSERT(sensor != NULL);
    KOR_ASSERT(sensor->canonical != NULL);
    KOR_ASSERT(_sensors.buckets != NULL);
    registered *const node = node_at(sensor->canonical);
    KOR_ASSERT(node != NULL);
    KOR_ASSERT(node->nrefs > 0);
    ++node->nrefs;
}

void *sensors_create(uint32_t count)
{
    void *const pointers = std::calloc(count, sizeof(void *));
    if (pointers == nullptr) vela_set_last_error(KOR_ERR_NO_MEMORY);
    return pointers;
}
