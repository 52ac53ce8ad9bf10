#pragma once
// What the firmware update tells the user, in one place for the view, the mass run and ferroctl.

namespace ferro {

inline constexpr const char* _SFWUpdateSuccess = "Firmwareupdate erfolgreich!";
inline constexpr const char* _SAskBackup =
    "Wir empfehlen Ihnen eine Parametersicherung vor dem Firmwareupdate. "
    "Wollen Sie diese jetzt durchführen?";
inline constexpr const char* _SUpdateInvalid = "Die Updatedatei scheint ungültig zu sein!";
inline constexpr const char* _SUploadFailed = "Fehler beim Hochladen der Firmware";
inline constexpr const char* _SUpdateDone = "Update abgeschlossen!";
inline constexpr const char* _SUpdateNotDone = "ACHTUNG: Das Update war nicht erfolgreich!";
inline constexpr const char* _SMassFailed = "Update fehlgeschlagen";
inline constexpr const char* _SMassLineLost = "Verbindung während des Updates unterbrochen";
inline constexpr const char* _SNotBack =
    "Das Gerät hat sich nach dem Neustart nicht innerhalb von %d s zurückgemeldet.";
inline constexpr const char* _SWrongVersion = "Das Gerät meldet nach dem Neustart die Firmware %s statt %s.";
inline constexpr const char* _SBackupFailed = "Die Parametersicherung ist fehlgeschlagen: %s";

} // namespace ferro
