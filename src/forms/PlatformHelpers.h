#pragma once
// Small wrappers of the platform the views share: well-known folders, images by name, choosing a
// folder, and the password box.

#include <QImage>
#include <QString>

#include <functional>
#include <string>

class QWidget;

namespace ferro {

enum class TSpecialFolder { Documents, AppData, Temp, Home, Desktop };

// The folder's path with a trailing separator; empty if the platform has none.
std::string GetSpecialFolder(TSpecialFolder Id);

// The program's own pictures by name ("secure", "unsecure", "ok", "abort" ...); false for an
// unknown name, leaving `Bitmap` as it was.
bool GetImageFromRessource(const std::string& Name, QImage& Bitmap, int Size = 32);

// Asks for a folder, starting in `Dir`; true and `Dir` set when the user chose one.
bool SelectDirFMX(const std::string& Caption, std::string& Dir, QWidget* Parent = nullptr);

// The input box with a hidden field. The asynchronous form returns at once and hands the entered
// text to `Callback` (Ok false when cancelled); the synchronous form waits and is true when the
// entered text equals `Expected` without regard to case.
void showPasswortBox(QWidget* Parent, const std::string& Caption, const std::string& Prompt,
                     std::function<void(bool Ok, const std::string& Text)> Callback);
bool showPasswortBox(QWidget* Parent, const std::string& Caption, const std::string& Prompt,
                     const std::string& Expected);
// The comparison of the synchronous form.
bool PasswordMatches(const std::string& Entered, const std::string& Expected);

} // namespace ferro
