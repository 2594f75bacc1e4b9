// names_handover.hpp: the names that a full buffer leaves to the next one.
#ifndef KOR_RECORDER_NAMES_HANDOVER_HPP
#define KOR_RECORDER_NAMES_HANDOVER_HPP

#include "kor_current_buffer.h"

namespace vela {

// The working set of `from` becomes that of the new and empty `to`, to be
// written ahead of its first record.  `from` has none from then on.
void hand_over_names(struct kor_current_buffer *from,
                     struct kor_current_buffer *to) noexcept;

}  // namespace vela

#endif
