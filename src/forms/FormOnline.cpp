#include "forms/FormOnline.h"

#include "link/Archive.h"
#include "link/XmlNames.h"
#include "stored/StoredTexts.h"

#include <QLabel>
#include <QPointer>
#include <QTreeWidget>

#include <filesystem>

namespace ferro {

TFormOnline::TFormOnline(QWidget* Parent) : TFormLayout(Parent) {
    setObjectName("FormOnline");
    lblHint->setText("Links eine Aufzeichnung oder ein Ereignis anklicken: hier erscheinen dann die Kurven "
                     "oder die Ereignistabelle.\n\nDateien mit Haken liegen schon auf diesem PC und werden "
                     "sofort gezeigt, die anderen werden zuerst vom Gerät heruntergeladen. Die rechte "
                     "Maustaste bietet mehr: ganze Klassen herunterladen oder Dateien auf dem Gerät "
                     "löschen.");
}

void TFormOnline::ConnEst(TSender Sender, bool Success) {
    TFormLayout::ConnEst(Sender, Success);
    if (!Success || !FComUnit) return;
    // The language file names groups, columns and events; a current one is not sent again, so it
    // is read from the folder where the last connection left it.
    if (FLangXML.Count() == 0) LoadLanguage();
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

void TFormOnline::LoadLanguage() {
    const std::string local = FComUnit->FIniFolder + ChangeFileExt(CLanguXML[FComUnit->FXMLLang], ".XML");
    std::error_code ec;
    if (std::filesystem::exists(local, ec)) {
        FLangXML.SetLangFile(local);
        FLangXMLFN.SetLangFile(local);
        return;
    }
    // None from an earlier connection: the instrument's own, from its scratchpad.
    std::filesystem::create_directories(FComUnit->FTmpDir, ec);
    std::filesystem::create_directories(FComUnit->FIniFolder, ec);
    QPointer<TFormOnline> self(this);
    FComUnit->ScratchpadGet(FComUnit->LanguageGzName(), [self, local](const TReply& R) {
        if (!self) return;
        std::string why;
        if (!R.Ok || !UnZipFile(R.File, local, &why)) {
            self->LogPrepare(self, "Language file: " + (R.Ok ? why : R.Text), false);
            return;
        }
        self->FLangXML.SetLangFile(local);
        self->FLangXMLFN.SetLangFile(local);
    });
}

} // namespace ferro
