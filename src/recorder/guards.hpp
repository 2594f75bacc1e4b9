// guards.hpp: what keeps a recorder's files whole through faults.
//
// Each guard is on.  Tests of the tests switch one off, by defining its macro,
// and must then see records lost.
#ifndef KOR_RECORDER_GUARDS_HPP
#define KOR_RECORDER_GUARDS_HPP

namespace vela {

// A reopened file is cut to its last whole stream before anything is appended.
#ifdef KOR_BREAK_TAIL_CUT
inline constexpr bool cut_torn_tails = false;
#else
inline constexpr bool cut_torn_tails = true;
#endif

// A failed write is undone: the file is cut back, and a header or a names
// record that did not reach it is written again.
#ifdef KOR_BREAK_WRITE_REPAIR
inline constexpr bool undo_failed_writes = false;
#else
inline constexpr bool undo_failed_writes = true;
#endif

// The state file is overwritten by one write and never truncated first.
#ifdef KOR_BREAK_STATE_WRITE
inline constexpr bool overwrite_state_at_once = false;
#else
inline constexpr bool overwrite_state_at_once = true;
#endif

// Folded files are removed only when what replaces them is durable and whole.
#ifdef KOR_BREAK_SYNC_ORDER
inline constexpr bool sync_before_removal = false;
#else
inline constexpr bool sync_before_removal = true;
#endif

}  // namespace vela

#endif
