// event_counters.hpp: which counter an event counts in.
#ifndef KOR_RECORDER_EVENT_COUNTERS_HPP
#define KOR_RECORDER_EVENT_COUNTERS_HPP

#include <cstdint>
#include <iterator>

#include "kor_hb_record_events.h"

namespace vela {

// Null for a type that is not counted.
inline uint32_t *counter_of(struct kor_hb_record_events &events,
                            uint32_t type) noexcept
{
    using counter = uint32_t kor_hb_record_events::*;
    constexpr counter counters[] = {
        nullptr,
        &kor_hb_record_events::n_type1,
        &kor_hb_record_events::n_type2,
        &kor_hb_record_events::n_type3,
        &kor_hb_record_events::n_type4,
        &kor_hb_record_events::n_type5,
    };
    if (type == 0 || type >= std::size(counters)) return nullptr;
    return &(events.*counters[type]);
}

}  // namespace vela

#endif
