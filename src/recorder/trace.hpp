// trace.hpp: the fixed arguments of every call to the trace facility.
#ifndef KOR_RECORDER_TRACE_HPP
#define KOR_RECORDER_TRACE_HPP

namespace vela {

// The level of a message.
inline constexpr int trace_file = 150;   // creation, full, folding, removal
inline constexpr int trace_vector = 90;  // every vector written

// The same in every call.
inline constexpr int trace_unit = -1;
inline constexpr int trace_component = 39;

// One number for each place that traces.
enum trace_message : int {
    trace_cbuf_create = 1,
    trace_cbuf_write,
    trace_cbuf_full,
    trace_hbuf_create,
    trace_hbuf_close,
    trace_kor_create,
    trace_ccc_adds_cbuf0,
    trace_ccc_adds_cbuf1,
    trace_ccc_removes_cbuf0,
    trace_ccc_removes_cbuf1,
    trace_hcc_adds_hbuf,
    trace_hcc_adds_cbuf1,
    trace_hcc_removes_hbuf,
    trace_hcc_removes_cbuf1,
};

}  // namespace vela

#endif
