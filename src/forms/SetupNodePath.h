#pragma once
// The path of the user-management branch in a setup listing, as CCC_SETUP_RD_ONE wants it.

#include <string>

namespace ferro {

// Loads the XML in `FileName`, finds the node named "pqAppl" and walks down its first children,
// collecting their `name` attributes after "usrMan", until a node called "system" is reached.
// False when the file does not load or has no such node.
bool UserManagementPath(const std::string& FileName, std::string& Path);

} // namespace ferro
