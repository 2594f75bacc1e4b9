// heap_object.hpp: a class with a constructor on the heap.
#ifndef KOR_RECORDER_HEAP_OBJECT_HPP
#define KOR_RECORDER_HEAP_OBJECT_HPP

#include <cstdlib>
#include <memory>
#include <utility>

namespace vela {

struct heap_object_deleter {
    template <class T>
    void operator()(T *object) const noexcept
    {
        std::destroy_at(object);
        std::free(object);
    }
};

template <class T>
using heap_object = std::unique_ptr<T, heap_object_deleter>;

// Null when out of memory.
template <class T, class... Arguments>
heap_object<T> make_heap_object(Arguments &&...arguments) noexcept
{
    void *const block = std::malloc(sizeof(T));
    if (block == nullptr) return {};
    return heap_object<T>(std::construct_at(
        static_cast<T *>(block), std::forward<Arguments>(arguments)...));
}

}  // namespace vela

#endif
