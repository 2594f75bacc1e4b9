// Configuration files: a list of keys, each with its values in file order.
#include "config.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"

namespace {
// A longer line is read as several.
constexpr int line_size = 4096;
constexpr const char *blanks = " \t";
}  // namespace

static void _config_destroy_value(struct config_value_node **node)
{
    std::free((*node)->value);
    std::free(*node);
    *node = nullptr;
}

static void _config_destroy_key(struct config_key_node **node)
{
    while (struct config_value_node *value = (*node)->head_value) {
        (*node)->head_value = value->next;
        _config_destroy_value(&value);
    }
    std::free((*node)->key);
    std::free(*node);
    *node = nullptr;
}

static struct config_key_node *_config_find(struct config *config,
                                            const char *key)
{
    struct config_key_node *node = config->head;
    while (node != nullptr && std::strcmp(node->key, key) != 0)
        node = node->next;
    return node;
}

// Puts a key without values at the front; null when out of memory.
static struct config_key_node *_config_add_key(struct config *config,
                                               const char *key)
{
    vela::heap<struct config_key_node> node(
        static_cast<struct config_key_node *>(
            std::calloc(1, sizeof(struct config_key_node))));
    if (!node) return nullptr;
    node->key = strdup(key);
    if (node->key == nullptr) return nullptr;
    node->next = config->head;
    config->head = node.get();
    return node.release();
}

static struct config_value_node *_config_create_value(const char *value)
{
    vela::heap<struct config_value_node> node(
        static_cast<struct config_value_node *>(
            std::calloc(1, sizeof(struct config_value_node))));
    if (!node) return nullptr;
    node->value = strdup(value);
    if (node->value == nullptr) return nullptr;
    return node.release();
}

// Removes one key of the list with its values.
static void _config_remove_key(struct config *config,
                               struct config_key_node *node)
{
    struct config_key_node **link = &config->head;
    while (*link != node) link = &(*link)->next;
    *link = node->next;
    _config_destroy_key(&node);
}

// Part of the interface: a value that finds no memory costs the first key of
// the list and the key it was meant for.  For a new key they are the same.
static void _config_undo_add(struct config *config,
                             struct config_key_node *node)
{
    if (config->head != node) _config_remove_key(config, config->head);
    _config_remove_key(config, node);
}

static char *_config_skip_blanks(char *text)
{
    return text + std::strspn(text, blanks);
}

// Adds what one line of a file says: 0 or a negative code.
static int _config_add_line(struct config *config, char *line)
{
    char *const text = _config_skip_blanks(line);
    if (*text == '\n' || *text == '#') return KOR_OK;
    char *rest = nullptr;
    const char *const key = strtok_r(text, blanks, &rest);
    if (key == nullptr) return KOR_ERR_FAILED;
    // A key that ends its line has the line end in it, and no value.
    char *const value = strtok_r(nullptr, "\n", &rest);
    if (value == nullptr) return KOR_ERR_FAILED;
    return config_add_value_for_key(config, key, _config_skip_blanks(value));
}

int config_init(struct config *config)
{
    KOR_ASSERT(config != NULL);
    *config = {.version = CONFIG_VERSION, .head = nullptr};
    return KOR_OK;
}

struct config *config_create(void)
{
    return vela::create<struct config>(config_init);
}

void config_destruct(struct config *config)
{
    KOR_ASSERT(config != NULL);
    KOR_ASSERT(config->version == CONFIG_VERSION);
    while (config->head != nullptr) _config_remove_key(config, config->head);
    config->version = 0;
}

void config_destroy(struct config **config)
{
    KOR_ASSERT(config != NULL);
    KOR_ASSERT(*config != NULL);
    vela::destroy(config, config_destruct);
}

int config_init_from_file(struct config *config, const char *filename)
{
    KOR_ASSERT(config != NULL);
    KOR_ASSERT(filename != NULL);
    FILE *const fp = std::fopen(filename, "r");
    if (fp == nullptr) return KOR_ERR_CANNOT_OPEN;
    const vela::on_exit close_file([fp] { std::fclose(fp); });

    config_init(config);
    char line[line_size];
    while (std::fgets(line, line_size, fp) != nullptr) {
        const int result = _config_add_line(config, line);
        if (result < 0) {
            config_destruct(config);
            return result;
        }
    }
    KOR_ASSERT(feof(fp));
    return KOR_OK;
}

struct config *config_create_from_file(const char *filename)
{
    KOR_ASSERT(filename != NULL);
    return vela::create<struct config>([filename](struct config *config) {
        return config_init_from_file(config, filename);
    });
}

int config_add_value_for_key(struct config *config, const char *key,
                             const char *value)
{
    KOR_ASSERT(config != NULL);
    KOR_ASSERT(config->version == CONFIG_VERSION);
    KOR_ASSERT(key != NULL);
    KOR_ASSERT(value != NULL);
    struct config_key_node *node = _config_find(config, key);
    if (node == nullptr) node = _config_add_key(config, key);
    if (node == nullptr) return KOR_ERR_NO_MEMORY;
    uint32_t i = 0;
    for (const struct config_value_node *v = node->head_value; v != nullptr;
         v = v->next) {
        KOR_ASSERT(i < node->nvalues);
        ++i;
    }
    KOR_ASSERT(i == node->nvalues);
    struct config_value_node *const added = _config_create_value(value);
    if (added == nullptr) {
        _config_undo_add(config, node);
        return KOR_ERR_NO_MEMORY;
    }
    if (node->tail_value != nullptr) {
        KOR_ASSERT(node->head_value != NULL);
        node->tail_value->next = added;
    } else {
        KOR_ASSERT(node->head_value == NULL);
        node->head_value = added;
    }
    node->tail_value = added;
    ++node->nvalues;
    return KOR_OK;
}

char **config_get_values_for_key(struct config *config, const char *key,
                                 uint32_t *nvals)
{
    KOR_ASSERT(config != NULL);
    KOR_ASSERT(config->version == CONFIG_VERSION);
    KOR_ASSERT(key != NULL);
    KOR_ASSERT(nvals != NULL);
    // Tells a key that is not there from a failed allocation.
    vela_set_last_error(KOR_OK);
    *nvals = 0;
    const struct config_key_node *const node = _config_find(config, key);
    if (node == nullptr) return nullptr;
    KOR_ASSERT(node->nvalues > 0);
    auto *const values =
        static_cast<char **>(std::calloc(node->nvalues, sizeof(char *)));
    if (values == nullptr) return vela::fail(KOR_ERR_NO_MEMORY);
    uint32_t i = 0;
    for (const struct config_value_node *value = node->head_value;
         value != nullptr; value = value->next) {
        KOR_ASSERT(i < node->nvalues);
        values[i++] = value->value;
    }
    KOR_ASSERT(i == node->nvalues);
    *nvals = i;
    return values;
}

char *config_get_single_value_for_key(struct config *config, const char *key)
{
    KOR_ASSERT(config != NULL);
    KOR_ASSERT(config->version == CONFIG_VERSION);
    KOR_ASSERT(key != NULL);
    uint32_t nvals = 0;
    char **const values = config_get_values_for_key(config, key, &nvals);
    if (nvals == 0) {
        KOR_ASSERT(values == NULL);
        return nullptr;
    }
    const vela::heap<char *> array(values);
    return values[0];
}

char **config_split_multiword_value(char *value, uint32_t *nwords)
{
    KOR_ASSERT(value != NULL);
    KOR_ASSERT(nwords != NULL);
    *nwords = 0;
    // At least one slot, so that an empty value is no failed allocation.
    const size_t nslots = std::max<size_t>(1, std::strlen(value));
    auto *const words =
        static_cast<char **>(std::calloc(nslots, sizeof(char *)));
    if (words == nullptr) return vela::fail(KOR_ERR_NO_MEMORY);
    char *rest = nullptr;
    for (char *word = strtok_r(value, blanks, &rest); word != nullptr;
         word = strtok_r(nullptr, blanks, &rest))
        words[(*nwords)++] = word;
    return words;
}
