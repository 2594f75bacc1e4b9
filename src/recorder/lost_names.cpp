#include "recorder/lost_names.hpp"

#include "common/lifecycle.hpp"
#include "error.h"
#include "hist_value_list.h"
#include "kor_buffer.h"
#include "recorder/buffer_scan.hpp"
#include "sensor_array.h"

namespace {

struct list_destructor {
    void operator()(struct hist_value_list *list) const noexcept
    {
        hist_value_list_destruct(list);
    }
};

// Sensors that share a bucket are listed in an order that depends on the past.
bool has_shared_bucket(const struct hist_value_list &list) noexcept
{
    for (const struct hist_value_list_entry *head : list.buckets)
        if (head != nullptr && head->next != nullptr) return true;
    return false;
}

// Replaces names by the same in the order of a history.  Returns 1, 0 when
// that order is not certain, or a negative code.
int order_as_history(vela::column_names *names) noexcept
{
    struct sensor_array *sensors =
        sensor_array_create_from_names(names->names(), names->count());
    if (sensors == nullptr) return KOR_ERR_NO_MEMORY;
    const vela::owned<sensor_array_destroy> owner(sensors);
    struct hist_value_list list;
    hist_value_list_init(&list);
    const std::unique_ptr<struct hist_value_list, list_destructor> content(
        &list);
    for (uint32_t i = 0; i < names->count(); ++i)
        if (hist_value_list_add_if_not_present(
                &list, sensor_array_get_sensors(sensors)[i]) == nullptr)
            return KOR_ERR_NO_MEMORY;
    if (has_shared_bucket(list)) return 0;
    struct sensor_array *ordered = hist_value_list_get_sensor_copies(&list);
    if (ordered == nullptr) return KOR_ERR_NO_MEMORY;
    const vela::owned<sensor_array_destroy> result(ordered);
    // Sensors of one name have become one.
    if (ordered->nsensors != names->count()) return 0;
    return names->assign(*ordered) ? 1 : KOR_ERR_NO_MEMORY;
}

// The first names of a file, when they can be had.  Returns 1, 0 or a negative
// code.
int first_names(const vela::names_source &source, uint32_t count,
                vela::column_names *names) noexcept
{
    const int result = vela::find_first_names(source.path, names);
    if (result == KOR_ERR_NO_MEMORY) return result;
    return result >= 0 && names->count() == count;
}

// Returns 1, 0 or a negative code.
int are_different(const vela::column_names &names) noexcept
{
    const int repeated = names.has_repetition();
    return repeated < 0 ? repeated : !repeated;
}

}  // namespace

int vela::find_lost_names(const names_source *sources, uint32_t nsources,
                          uint32_t kind, uint32_t count,
                          column_names *names) noexcept
{
    for (uint32_t i = 0; i < nsources; ++i) {
        if (sources[i].kind != kind) continue;
        int found = first_names(sources[i], count, names);
        if (found == 1 && kind == KOR_BUFFER_TYPE_HIST)
            found = are_different(*names);
        if (found != 0) return found < 0 ? found : KOR_OK;
    }
    for (uint32_t i = 0; i < nsources; ++i) {
        if (kind != KOR_BUFFER_TYPE_HIST || sources[i].kind == kind) continue;
        int found = first_names(sources[i], count, names);
        if (found == 1) found = order_as_history(names);
        if (found != 0) return found < 0 ? found : KOR_OK;
    }
    return names->assign_placeholders(count) ? KOR_OK : KOR_ERR_NO_MEMORY;
}
