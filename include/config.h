/*
 * config.h: key/value configuration files.
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

int config_init(struct config *config);
struct config *config_create(void);
void config_destruct(struct config *config);
void config_destroy(struct config **config);
int config_init_from_file(struct config *config, const char *filename);
struct config *config_create_from_file(const char *filename);
int config_add_value_for_key(struct config *config, const char *key,
                             const char *value);
char **config_get_values_for_key(struct config *config, const char *key,
                                 uint32_t *nvals);
char *config_get_single_value_for_key(struct config *config, const char *key);
char **config_split_multiword_value(char *value, uint32_t *nwords);

KOR_END_DECLS

#endif
