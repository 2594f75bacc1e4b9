// growable.hpp: an array of plain items that grows.
#ifndef KOR_COMMON_GROWABLE_HPP
#define KOR_COMMON_GROWABLE_HPP

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace vela {

template <class T>
class growable {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    growable() noexcept = default;
    growable(const growable &) = delete;
    growable &operator=(const growable &) = delete;
    ~growable() { std::free(items_); }

    size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    T *begin() noexcept { return items_; }
    T *end() noexcept { return items_ + size_; }
    const T *begin() const noexcept { return items_; }
    const T *end() const noexcept { return items_ + size_; }
    T &operator[](size_t i) noexcept { return items_[i]; }
    const T &operator[](size_t i) const noexcept { return items_[i]; }

    // Keeps the block for the items to come.
    void clear() noexcept { size_ = 0; }

    void shrink(size_t size) noexcept { size_ = size; }

    // False when out of memory; the array is then as it was.
    [[nodiscard]] bool append(const T *items, size_t count) noexcept
    {
        if (count == 0) return true;  // `items` may be null then
        T *const room = extend(count);
        if (room == nullptr) return false;
        std::memcpy(room, items, count * sizeof(T));
        return true;
    }
    [[nodiscard]] bool append(const T &item) noexcept
    {
        return append(&item, 1);
    }

    // Room for `count` more items, not yet set; null when out of memory.
    [[nodiscard]] T *extend(size_t count) noexcept
    {
        if (count > capacity_ - size_ && !grow(count)) return nullptr;
        T *const room = items_ + size_;
        size_ += count;
        return room;
    }

private:
    bool grow(size_t count) noexcept
    {
        constexpr size_t limit = static_cast<size_t>(-1) / 4 / sizeof(T);
        constexpr size_t first = 64;
        if (count > limit - size_) return false;
        size_t wanted = capacity_ == 0 ? first : 2 * capacity_;
        if (wanted < size_ + count) wanted = size_ + count;
        void *const block = std::realloc(items_, wanted * sizeof(T));
        if (block == nullptr) return false;
        items_ = static_cast<T *>(block);
        capacity_ = wanted;
        return true;
    }

    T *items_ = nullptr;
    size_t size_ = 0;
    size_t capacity_ = 0;
};

}  // namespace vela

#endif
