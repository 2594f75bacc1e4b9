// Configuration files.
#include "fuzz.hpp"

static void read_config(fuzz::input in)
{
    fuzz::write_file("c", in);
    struct config *config = config_create_from_file("c");
    if (config == nullptr) return;
    char *const value = config_get_single_value_for_key(config, "a");
    uint32_t nwords = 0;
    if (value != nullptr)
        _vela_free(config_split_multiword_value(value, &nwords));
    config_destroy(&config);
}

FUZZ_TARGET(read_config)
