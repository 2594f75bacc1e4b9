/*
 * hist_value_list.h: a table from sensor to interval summary, cleared in O(1).
 */
#ifndef LIBKOR_HIST_VALUE_LIST_H
#define LIBKOR_HIST_VALUE_LIST_H

#include <stdint.h>

#include "hist_value.h"
#include "kor_export.h"
#include "sensor_array.h"

KOR_BEGIN_DECLS

KOR_STRUCT(hist_value_list_entry);
struct hist_value_list_entry {
    uint16_t seq;             /* the generation that last claimed it */
    struct sensor *sensor;    /* owned reference */
    struct hist_value hvalue; /* meaningful in the current generation */
    struct hist_value_list_entry *next;
};

KOR_STRUCT(hist_value_list);
struct hist_value_list {
    uint16_t seq; /* the current generation */
    struct hist_value_list_entry *buckets[256];
    uint32_t nitems; /* entries of the current generation */
};

int hist_value_list_init(struct hist_value_list *list);
struct hist_value_list *hist_value_list_create(void);
void hist_value_list_destruct(struct hist_value_list *list);
void hist_value_list_destroy(struct hist_value_list **list);
struct hist_value *hist_value_list_add_if_not_present(
    struct hist_value_list *list, const struct sensor *sensor);
int hist_value_list_is_empty(const struct hist_value_list *list);
uint32_t hist_value_list_get_size(const struct hist_value_list *list);
struct sensor_array *hist_value_list_get_sensor_copies(
    const struct hist_value_list *list);
struct hist_value *hist_value_list_get_hist_value_copies(
    const struct hist_value_list *list);
int hist_value_list_are_sensors_equal(const struct hist_value_list *list,
                                      const struct sensor_array *s_array);
void hist_value_list_clear(struct hist_value_list *list);

KOR_END_DECLS

#endif
