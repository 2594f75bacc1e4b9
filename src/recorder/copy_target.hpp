// copy_target.hpp: where an X_copy(object, dest) puts the copy.
#ifndef KOR_RECORDER_COPY_TARGET_HPP
#define KOR_RECORDER_COPY_TARGET_HPP

#include <cstdlib>

#include "common/lifecycle.hpp"

namespace vela {

// The caller's storage, or a new block when there is none.  A new block is
// freed again unless it is released.
template <class T>
class copy_target {
public:
    explicit copy_target(T *dest) noexcept
        : made_(dest == nullptr ? static_cast<T *>(std::malloc(sizeof(T)))
                                : nullptr),
          target_(dest != nullptr ? dest : made_.get())
    {
    }
    T *get() const noexcept { return target_; }
    bool is_new() const noexcept { return made_ != nullptr; }
    T *release() noexcept
    {
        static_cast<void>(made_.release());
        return target_;
    }

private:
    heap<T> made_;
    T *target_;  // null when a new block could not be had
};

}  // namespace vela

#endif
