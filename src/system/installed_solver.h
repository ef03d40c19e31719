#pragma once

#include <string>

namespace torve {

// The folder of the program, or of the library when a program has loaded this code with one. Links
// are followed. Empty when the system doesn't tell.
std::string own_folder();

// The solver that lies in an installed tree beside the program or the library, found from their own
// folder, so that the tree may be moved. Empty where there is none, as in the tree of a build.
std::string installed_solver();

}  // namespace torve
