// kept_files.hpp: the files that tests make, kept for another reader of them.
//
// With the environment variable KOR_KEEP_FILES set, what lies in a test's
// folder at its end and looks like a file of a recorder is copied to
// $KOR_KEEP_FILES/NAME-HASH: the hash is that of names and contents, so that
// the same files are kept once.
#ifndef KOR_TESTS_KEPT_FILES_HPP
#define KOR_TESTS_KEPT_FILES_HPP

#include <map>
#include <string>

namespace test {

// Contents by their names, which may have folders in them.
using file_contents = std::map<std::string, std::string>;

bool keeps_files();
// Keeps the files, if there is any among them that looks like a recorder's.
void keep_files(const std::string &name, file_contents files);
// The same, but only one in so many times; of damage to every byte.
void keep_some_files(const std::string &name, const file_contents &files);
// Keeps what can be read in a folder.
void keep_folder(const std::string &name, const std::string &path);

}  // namespace test

#endif
