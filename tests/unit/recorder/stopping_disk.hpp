// stopping_disk.hpp: the calls by which recovery changes files, made to fail.
//
// The test program is linked with --wrap for these calls, so that only those
// of the library's own code pass here.
#ifndef KOR_TESTS_STOPPING_DISK_HPP
#define KOR_TESTS_STOPPING_DISK_HPP

namespace test {

enum class stop {
    before,   // the n-th call and all later ones do nothing and fail
    torn,     // the same, but a write first writes half of its bytes
    after,    // the n-th call does its work; all later ones fail
    failing,  // only the n-th call fails
};

// While the object lives, calls are counted and the n-th (from 0) stops.  That
// nothing happens from then on is what a killed process leaves behind.
class stopping_disk {
public:
    stopping_disk(int n, stop how);
    stopping_disk(const stopping_disk &) = delete;
    stopping_disk &operator=(const stopping_disk &) = delete;
    ~stopping_disk();
    bool reached() const;
};

}  // namespace test

#endif
