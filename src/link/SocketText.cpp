#include "link/SocketText.h"

#include "foundation/ErrnoText.h"

#include <cerrno>
#include <cstring>

namespace ferro {

const char* const CConnectCanceled = "Verbindungsaufbau abgebrochen";

std::string SocketErrorText(int err) {
    switch (err) {
    case ECONNREFUSED:
        return "Verbindung abgelehnt";
    case ETIMEDOUT:
        return "Zeitüberschreitung";
    case EHOSTUNREACH:
    case EHOSTDOWN:
        return "Gerät nicht erreichbar";
    case ENETUNREACH:
    case ENETDOWN:
        return "Netzwerk nicht erreichbar";
    case ECONNRESET:
        return "Verbindung vom Gerät zurückgesetzt";
    case EADDRNOTAVAIL:
        return "Adresse nicht verfügbar";
    case EPIPE:
        return "Verbindung unterbrochen";
    default:
        return ErrnoText(err);
    }
}

} // namespace ferro
