/*
 * hist_value_list.h: a table from sensor to interval summary, cleared in O(1).
 *
 * Clearing starts a generation.  An entry belongs to the current contents if
 * its seq is the list's; others wait in their chains to be used again.  The
 * order of the contents is that of the buckets 0 to 255, each chain from its
 * head: a new entry is put at the head, one used again keeps its place.
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
    uint16_t seq;                               /* the current generation */
    struct hist_value_list_entry *buckets[256]; /* by hash code modulo 256 */
    uint32_t nitems; /* entries of the current generation */
};

/*
 * Make an empty list.
 *
 * Returns  0, or the list; null with KOR_ERR_NO_MEMORY (-22) as the last error
 */
int hist_value_list_init(struct hist_value_list *list);
struct hist_value_list *hist_value_list_create(void);

/* Free the entries of all generations; destroy also frees the list. */
void hist_value_list_destruct(struct hist_value_list *list);
void hist_value_list_destroy(struct hist_value_list **list);

/*
 * Finds the summary of a sensor, or adds an empty one.
 *
 * sensor   not a null sensor; the list takes a reference of its own
 * Returns  the summary, borrowed, in its place until the list is destructed;
 *          null with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct hist_value *hist_value_list_add_if_not_present(
    struct hist_value_list *list, const struct sensor *sensor);

/* Whether there are no entries in the current generation; and how many. */
int hist_value_list_is_empty(const struct hist_value_list *list);
uint32_t hist_value_list_get_size(const struct hist_value_list *list);

/*
 * The current sensors in list order.
 *
 * Returns  a new array, the caller's; null for an empty list, the last error
 *          being left alone, or with KOR_ERR_NO_MEMORY (-22) as the last error
 */
struct sensor_array *hist_value_list_get_sensor_copies(
    const struct hist_value_list *list);

/*
 * The current summaries in list order.
 *
 * Returns  as many as the list's size in one block from malloc, the caller's;
 *          null as above
 */
struct hist_value *hist_value_list_get_hist_value_copies(
    const struct hist_value_list *list);

/* Whether the current sensors in list order are those of the array. */
int hist_value_list_are_sensors_equal(const struct hist_value_list *list,
                                      const struct sensor_array *s_array);

/*
 * Empties the list by starting a generation.  Nothing is freed.  Aborts at the
 * 65536th call: the list must be made anew before.
 */
void hist_value_list_clear(struct hist_value_list *list);

KOR_END_DECLS

#endif
