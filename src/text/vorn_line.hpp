// vorn_line.hpp: the text writer's state and the room in which a line is built.
//
// A line needs more than an embedded stack should give and too much to be
// allocated each time, so its buffer lives behind the writer's state.
#ifndef KOR_TEXT_VORN_LINE_HPP
#define KOR_TEXT_VORN_LINE_HPP

#include <cstddef>

#include "vorn_writer.h"

namespace vela {

inline constexpr size_t vorn_line_size = 32768;
using vorn_line = char[vorn_line_size];

// What writer.writer of a text writer points at.
struct vorn_writer_state {
    struct vorn_writer base;  // first, so that the state is seen as this
    vorn_line line;
};

}  // namespace vela

#endif
