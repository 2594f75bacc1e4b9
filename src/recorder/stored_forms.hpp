// stored_forms.hpp: stored forms that several records hold in place.
#ifndef KOR_RECORDER_STORED_FORMS_HPP
#define KOR_RECORDER_STORED_FORMS_HPP

#include "hist_value.h"
#include "io/codec.hpp"
#include "timestamp.h"

namespace vela {

inline constexpr serializer<struct timestamp> timestamp_form = {
    .write = binary_serializer_write_timestamp,
    .read = binary_serializer_read_timestamp,
};

inline constexpr serializer<struct hist_value> hist_value_form = {
    .write = binary_serializer_write_hist_value,
    .read = binary_serializer_read_hist_value,
};

}  // namespace vela

#endif
