#pragma once

#include <optional>
#include <string>
#include <vector>

namespace torve {

// Work on files and folders by names that never pass through a shell. Results are true on success;
// nothing throws but std::bad_alloc.

bool file_exists(const std::string& name);  // any kind of file
bool regular_file_exists(const std::string& name);
bool folder_exists(const std::string& name);
bool is_link(const std::string& name);         // a symbolic link, wherever it leads
bool program_exists(const std::string& name);  // a regular file that may be executed

std::optional<std::string> current_folder();
bool enter_folder(const std::string& name);
bool make_folder(const std::string& name);  // false when it exists

// Removes a folder with all it holds. A symbolic link loses the link only.
bool remove_tree(const std::string& name);
bool remove_file(const std::string& name);  // a file or a link; not a folder

// Copies a regular file, over what the target's name holds.
bool copy_file(const std::string& from, const std::string& to);

// True when the name leads to the folder `of`, to one of its ancestors, or to the root.
bool is_same_or_ancestor(const std::string& name, const std::string& of);

// Opens a null device in place of each of the three standard streams that is closed; a file opened
// later would take its number, and what is printed would end up there.
void reserve_standard_streams();

// True when both names lead to one existing file.
bool is_same_file(const std::string& a, const std::string& b);

// The bytes of a file; nothing when it can't be read. Waits for the writer of a pipe that has one.
std::optional<std::string> read_file(const std::string& name);

// Entries of the environment variable PATH, in order.
std::vector<std::string> path_entries();

}  // namespace torve
