#pragma once
// Why a line could not be opened, in the words the user reads.

#include <string>

namespace ferro {

// The text of a connect that this side gave up (its view closed).
extern const char* const CConnectCanceled;

// German text of a socket error number ("Verbindung abgelehnt" ...), for any other number that of ErrnoText.
std::string SocketErrorText(int err);

} // namespace ferro
