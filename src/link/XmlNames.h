#pragma once
// File names of the instrument's structure, object-property and language files.

#include <array>
#include <string>

namespace ferro {

constexpr const char* CStructXML = "ferro_struct.xml";
constexpr const char* CObjPropsXML = "ferro_objprops.xml";
// One language file per TLangu member, in its order.
constexpr std::array<const char*, 8> CLanguXML = {"lang_de.xml", "lang_en.xml", "lang_fr.xml", "lang_es.xml",
                                                  "lang_it.xml", "lang_pl.xml", "lang_cs.xml", "lang_ru.xml"};

// Replaces the extension of the last path part (".xml" -> ".gz").
std::string ChangeFileExt(const std::string& name, const std::string& ext);
// The part behind the last '/', '\\' or ':'.
std::string ExtractFileName(const std::string& path);
// The extension with its dot, or "".
std::string ExtractFileExt(const std::string& path);

} // namespace ferro
