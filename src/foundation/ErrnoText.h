#pragma once
// The German words for a system error number, for messages a user reads (a file that cannot be
// opened, a serial port that is busy). Numbers without words of their own keep the system's text.

#include <string>

namespace ferro {

std::string ErrnoText(int err);

} // namespace ferro
