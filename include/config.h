/*
 * config.h: key/value configuration files.
 *
 * A line holds a key, blanks or tabs, and a value, which is the rest of the
 * line with trailing blanks and all.  Blank lines and lines that begin with
 * "#" are skipped.  A key may occur on several lines and then has several
 * values.  Keys are compared exactly.  A line of 4096 characters or more is
 * read as several.
 */
#ifndef LIBKOR_CONFIG_H
#define LIBKOR_CONFIG_H

#include <stdint.h>

#include "kor_export.h"

KOR_BEGIN_DECLS

#define CONFIG_VERSION 1

KOR_STRUCT(config_value_node);
struct config_value_node {
    char *value; /* owned */
    struct config_value_node *next;
};

KOR_STRUCT(config_key_node);
struct config_key_node {
    char *key;                            /* owned */
    struct config_value_node *head_value; /* in file order */
    struct config_value_node *tail_value;
    uint32_t nvalues; /* > 0 */
    struct config_key_node *next;
};

KOR_STRUCT(config);
struct config {
    uint32_t version;             /* CONFIG_VERSION; 0 after destruction */
    struct config_key_node *head; /* the key that appeared last comes first */
};

/* Makes an empty configuration in the caller's storage; returns 0. */
int config_init(struct config *config);

/* An empty one on the heap, or null and the last error (-22). */
struct config *config_create(void);

/* Free every key and value; destroy also frees the object itself and clears
 * the pointer. */
void config_destruct(struct config *config);
void config_destroy(struct config **config);

/*
 * Reads a file into a configuration that is not initialised yet.
 *
 * Returns  0; KOR_ERR_CANNOT_OPEN (-40), config untouched; KOR_ERR_FAILED (-1)
 *          for a line without a value, or KOR_ERR_NO_MEMORY (-22), config
 *          destructed.  A read error aborts.
 */
int config_init_from_file(struct config *config, const char *filename);

/* The same on the heap, or null and the code as the last error. */
struct config *config_create_from_file(const char *filename);

/*
 * Adds a value behind those that the key has.
 *
 * key, value  copied
 * Returns     0; KOR_ERR_NO_MEMORY (-22): when it was the value that found no
 *             memory, the key and the first key of the list are gone with all
 *             their values
 */
int config_add_value_for_key(struct config *config, const char *key,
                             const char *value);

/*
 * Every value of a key, in file order.
 *
 * nvals    how many there are; 0 when null is returned
 * Returns  an array that the caller frees, of strings that stay the
 *          configuration's; null with the last error 0 when there is no such
 *          key, KOR_ERR_NO_MEMORY (-22) when there was no memory
 */
char **config_get_values_for_key(struct config *config, const char *key,
                                 uint32_t *nvals);

/*
 * The first value of a key, borrowed, or null; the last error is set as by
 * config_get_values_for_key.
 */
char *config_get_single_value_for_key(struct config *config, const char *key);

/*
 * Splits a string at its blanks and tabs, in place: the blanks become NULs.
 *
 * value    modified; also the configuration's own, if it came from there
 * nwords   how many words there are
 * Returns  an array that the caller frees, of pointers into `value`; null and
 *          the last error KOR_ERR_NO_MEMORY (-22)
 */
char **config_split_multiword_value(char *value, uint32_t *nwords);

KOR_END_DECLS

#endif
