#pragma once
// The German texts that the link and the forms show to the user.

namespace ferro {

// 65489
constexpr const char* _SKeineRechte = "Der Benutzer \"%s\" hat nicht die nötigen Rechte für diesen Vorgang!";
// 65520
constexpr const char* _SEingabePruefen = "Bitte Überprüfen Sie Ihre Eingabe!";
// 65521
constexpr const char* _SNeueSprachdateien =
    "Es wurden neue Sprachdateien auf dem FerroRecorder gefunden. Diese sind zur korrekten Darstellung in "
    "der "
    "Marlinlite nötig! Möchten Sie diese Sprachdateien herunterladen?";
// 65522
constexpr const char* _SVerbindungsabbruch = "Verbindungsabbruch";
constexpr const char* _SKeineVerbindung = "Keine Verbindung zum Gerät.";
constexpr const char* _SKeineAntwort = "Das Gerät hat nicht geantwortet.";
constexpr const char* _SSendenFehlgeschlagen = "Der Auftrag konnte nicht gesendet werden.";
constexpr const char* _SVerbindungBeendet = "Die Verbindung wurde beendet.";
constexpr const char* _SUnbekannteAntwort = "Das Gerät hat unverständlich geantwortet.";
// The instrument's refusal: its code and its own text.
constexpr const char* _SGeraetLehntAb = "Das Gerät lehnt ab (Code %u): %s";
// 65523
constexpr const char* _SAuthFehlgeschlagen = "Authentifizierung fehlgeschlagen";
// 65524
constexpr const char* _SUSBGetrennt = "Die USB Verbindung wurde getrennt!";
// 65525
constexpr const char* _SZweiVerbindungen =
    "Es sind bereits zwei aktive Verbindungen mit dem Gerät hergestellt. "
    "Eine weitere Verbindung ist nicht möglich.";
// 65526
constexpr const char* _SKeinZugriff = "Der Nutzer %s hat keinen Zugriff auf diese Funktion";
// 65527
constexpr const char* _SHostKeyNeu =
    "Dieses Gerät ist nicht bekannt und dessen Identität ist anhand des folgenden "
    "%s-Schlüssels zu überprüfen:\r\n";
// 65528, the key's type twice
constexpr const char* _SHostKeyGeaendert =
    "Der %s-Schlüssel dieses Gerätes hat sich geändert. Bitte Verifizieren Sie die Integrität des Gerätes "
    "anhand des folgenden %s-Schlüssels:\r\n";
// 65529, the MD5 and the SHA-256 fingerprint (the latter as OpenSSH writes it, "SHA256:...")
constexpr const char* _SHostKeyFingerprint =
    "\r\nMD5: %s\r\n%s\r\n\r\nDieser ist auf dem Prüfzertifikat oder direkt am Gerät hinterlegt. "
    "Ohne eine Überprüfung sollte dem Gerät nicht vertraut werden und die Verbindung abgebrochen "
    "werden!\r\n\r\nWollen Sie dem Gerät vertrauen und eine Verbindung herstellen?";
// How a program without dialogs tells the two questions apart.
constexpr const char* CHostKeyNeuStart = "Dieses Gerät ist nicht bekannt";
constexpr const char* CHostKeyGeaendertMark = "-Schlüssel dieses Gerätes hat sich geändert";
// A file from the instrument that does not unpack.
constexpr const char* _SEntpackenFehler = "Die Datei %s des Gerätes konnte nicht entpackt werden.";
// The general error title in front of a refusal text, with the refusal's code.
constexpr const char* _SErrorCode = "Fehler (Code %u)";
// A listed name that cannot be a local file name (empty, a folder, "..", a NUL).
constexpr const char* _SKeinDateiname = "Der Name \"%s\" ist kein Dateiname; die Datei wird nicht geladen.";

} // namespace ferro
