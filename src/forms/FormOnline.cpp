#include "forms/FormOnline.h"

#include "link/XmlNames.h"
#include "stored/StoredTexts.h"

#include <QTreeWidget>

#include <filesystem>

namespace ferro {

TFormOnline::TFormOnline(QWidget* Parent) : TFormLayout(Parent) {
    setObjectName("FormOnline");
}

void TFormOnline::ConnEst(TSender Sender, bool Success) {
    TFormLayout::ConnEst(Sender, Success);
    if (!Success || !FComUnit) return;
    // The language file names groups, columns and events; a current one is not sent again, so it
    // is read from the folder where the last connection left it.
    if (FLangXML.Count() == 0) {
        const std::string lang = FComUnit->FIniFolder + CLanguXML[FComUnit->FXMLLang];
        std::error_code ec;
        for (const std::string& f : {lang, FComUnit->FIniFolder + "lang_de.XML"})
            if (std::filesystem::exists(f, ec)) {
                FLangXML.SetLangFile(f);
                FLangXMLFN.SetLangFile(f);
                break;
            }
    }
    // A new session (also after a lost line) starts with fresh roots.
    FInClick = true;
    FTVIRec = FTVIEvt = FSelectedRec = nullptr;
    TreeViewOpti->clear();
    FRecTreeView = AddRoot(_SRekorderDaten);
    FEvtTreeView = AddRoot(_SPQEreignisse);
    FStreamTreeView = nullptr;
    FInClick = false;
    ClickRecOverview();
    ClickEvtOverview();
}

} // namespace ferro
