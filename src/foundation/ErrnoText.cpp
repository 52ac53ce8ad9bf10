#include "foundation/ErrnoText.h"

#include <cerrno>
#include <cstring>

namespace ferro {

std::string ErrnoText(int err) {
    switch (err) {
    case ENOENT:
        return "Datei oder Verzeichnis nicht gefunden";
    case EACCES:
    case EPERM:
        return "Zugriff verweigert";
    case EISDIR:
        return "ist ein Verzeichnis";
    case ENOTDIR:
        return "ein Teil des Pfades ist kein Verzeichnis";
    case EBUSY:
        return "wird schon benutzt";
    case ENOTTY:
        return "keine serielle Schnittstelle";
    case ENXIO:
    case ENODEV:
        return "Gerät nicht vorhanden";
    case EIO:
        return "Ein-/Ausgabefehler";
    case ENOSPC:
        return "kein Platz mehr auf dem Datenträger";
    case EROFS:
        return "Datenträger nur lesbar";
    case EMFILE:
    case ENFILE:
        return "zu viele offene Dateien";
    case ENAMETOOLONG:
        return "Name zu lang";
    case ENOMEM:
        return "nicht genug Speicher";
    default:
        return std::strerror(err);
    }
}

} // namespace ferro
