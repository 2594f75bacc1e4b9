// lifecycle.hpp: how objects are made, owned and destroyed inside libkor.
//
//     vela::owned<matrix_destroy> copy(matrix_copy(m));
//     vela::heap<char> name(strdup(filename));
//     vela::on_exit close_file([&] { fclose(fp); });
//
// release() hands the object to its next owner; every other way out of the
// block destroys it.  There is no other cleanup idiom in libkor.
#ifndef KOR_COMMON_LIFECYCLE_HPP
#define KOR_COMMON_LIFECYCLE_HPP

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <utility>

#include "error.h"

namespace vela {

template <class Function>
struct destroyed_type;
template <class T, bool NoThrow>
struct destroyed_type<void (*)(T **) noexcept(NoThrow)> {
    using type = T;
};

// Calls one of the library's X_destroy(&p) functions.
template <auto Destroy>
struct destroyer {
    using type = typename destroyed_type<decltype(Destroy)>::type;
    void operator()(type *object) const noexcept { Destroy(&object); }
};

template <auto Destroy>
using owned =
    std::unique_ptr<typename destroyer<Destroy>::type, destroyer<Destroy>>;

struct heap_block_deleter {
    void operator()(void *block) const noexcept { std::free(block); }
};

// A block from malloc, calloc or strdup that holds plain data.
template <class T>
using heap = std::unique_ptr<T, heap_block_deleter>;

// Runs an action on every way out of the block, unless cancelled.
template <class Action>
class [[nodiscard]] on_exit {
public:
    explicit on_exit(Action action) noexcept : action_(std::move(action)) {}
    on_exit(const on_exit &) = delete;
    on_exit &operator=(const on_exit &) = delete;
    ~on_exit()
    {
        if (armed_) action_();
    }
    void cancel() noexcept { armed_ = false; }

private:
    Action action_;
    bool armed_ = true;
};

// `return vela::fail(code);` ends a function that returns a pointer.
inline std::nullptr_t fail(int code) noexcept
{
    vela_set_last_error(code);
    return nullptr;
}

// The body of every X_create: a heap X that `init` has filled, or null with
// the last error set.  `init` takes the X and returns 0 or a negative code.
template <class T, class Init>
T *create(Init init) noexcept
{
    heap<T> object(static_cast<T *>(std::malloc(sizeof(T))));
    if (!object) return fail(KOR_ERR_NO_MEMORY);
    const int result = init(object.get());
    if (result < 0) return fail(result);
    return object.release();
}

// The body of every X_destroy(&p).
template <class T>
void destroy(T **object, void (*destruct)(T *)) noexcept
{
    destruct(*object);
    std::free(*object);
    *object = nullptr;
}

}  // namespace vela

#endif
