// file_calls.hpp: the calls that decide what outlasts a power cut.
//
// A test linked with file_calls.cpp syncs nothing: its calls of fsync,
// fdatasync and unlink are noted, and the two syncs can be made to fail.
#ifndef KOR_TESTS_FILE_CALLS_HPP
#define KOR_TESTS_FILE_CALLS_HPP

#include <string>
#include <vector>

namespace test {

// "sync rec.state", "unlink rec.1.cbuf.z", ... since the last clear; a folder
// is called by its own name.
std::vector<std::string> &file_calls();

// Syncs of files whose name contains `part` fail while the object lives.
class failing_sync {
public:
    explicit failing_sync(std::string part);
    failing_sync(const failing_sync &) = delete;
    failing_sync &operator=(const failing_sync &) = delete;
    ~failing_sync();
};

}  // namespace test

#endif
