// The parameter form's smaller tools: the widths the host keeps, the two further ways to save,
// the menu that counts recording points and the fill menu of a data point.
#include "forms/FerroGrid.h"
#include "forms/FormPara.h"
#include "forms/XMLTreeViewItem.h"
#include "foundation/Format.h"
#include "link/ComUnit.h"

#include <QAction>
#include <QCursor>
#include <QDateTime>
#include <QMenu>
#include <QSplitter>
#include <QToolBar>
#include <QToolButton>
#include <QTreeWidget>

#include <filesystem>

namespace ferro {

namespace fs = std::filesystem;

namespace {
const char* const CFileExistsText = "Die Datei %s existstiert bereits - soll diese überschrieben werden?";

std::string LowerExt(const std::string& File) {
    std::string e = fs::path(File).extension().string();
    for (char& c : e)
        c = char(std::tolower(uint8_t(c)));
    return e;
}
} // namespace

void TFormPara::BuildToolsUi() {
    // The two further saves hang under the template button's arrow; they follow its state.
    auto* saveMenu = new QMenu(this);
    saveMenu->setObjectName("pmSave");
    actSaveTemplate = saveMenu->addAction("In eigene Vorlagen speichern");
    connect(actSaveTemplate, &QAction::triggered, this, [this] { btnSaveTemplateClick(); });
    actSaveTemplate->setObjectName("actSaveTemplate");
    actSaveTemplate->setToolTip("Das Setup ohne Rückfrage unter dem vorgeschlagenen Namen in den Ordner der "
                                "eigenen Vorlagen speichern");
    actRundsteuer = saveMenu->addAction("Exportieren (Setup oder ICD-Datei) …");
    connect(actRundsteuer, &QAction::triggered, this, [this] { btnRundsteuerClick(); });
    actRundsteuer->setObjectName("actRundsteuer");
    actRundsteuer->setToolTip("Das Setup als XML-Datei oder die ICD-Datei an einen beliebigen Ort speichern");
    if (auto* btn = qobject_cast<QToolButton*>(tbFiles->widgetForAction(ActExport))) {
        btn->setMenu(saveMenu);
        btn->setPopupMode(QToolButton::MenuButtonPopup);
    }
    auto follow = [this] {
        actSaveTemplate->setEnabled(ActExport->isEnabled());
        actRundsteuer->setEnabled(ActExport->isEnabled());
    };
    connect(ActExport, &QAction::changed, this, follow);
    follow();

    // The groups below the counting group count their recording points on a right click.
    pmAufzeichnungspunkte = new QMenu(this);
    pmAufzeichnungspunkte->setObjectName("pmAufzeichnungspunkte");
    actCountAufzeichnungspunkte = pmAufzeichnungspunkte->addAction("Aufzeichnungspunkte zählen");
    connect(actCountAufzeichnungspunkte, &QAction::triggered, this,
            [this] { actCountAufzeichnungspunkteExecute(); });
    actCountAufzeichnungspunkte->setObjectName("actCountAufzeichnungspunkte");
    TreeViewOpti->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(TreeViewOpti, &QTreeWidget::customContextMenuRequested, this, [this](const QPoint& At) {
        auto* item = static_cast<TXMLTreeViewItem*>(TreeViewOpti->itemAt(At));
        if (!item || item->Tag != 4) return;
        FCountNode = item->Node;
        pmAufzeichnungspunkte->popup(TreeViewOpti->viewport()->mapToGlobal(At));
    });

    // A data point's value, right clicked, fills the rows below it.
    pmGrid = new QMenu(this);
    pmGrid->setObjectName("pmGrid");
    actFuellen = pmGrid->addAction("Füllen");
    connect(actFuellen, &QAction::triggered, this, [this] { actFuellenExecute(); });
    actFuellen->setObjectName("actFuellen");
    actFuellen->setToolTip("Den Wert dieser Zeile in alle folgenden Zeilen übernehmen");
    FGrd->FRMBDataPointCB = [this](int Row) {
        actFuellen->setData(Row);
        pmGrid->popup(QCursor::pos());
    };

    connect(splitPara, &QSplitter::splitterMoved, this, [this] { WriteSettings(); });
}

// ---------------------------------------------------------------- kept widths

void TFormPara::SetSettings(const TFrmParaSettings& S) {
    FParaEinstellungen = S;
    if (S.LytWth > 0) {
        const int total = std::max(splitPara->width(), S.LytWth + 600);
        splitPara->setSizes({S.LytWth, total - S.LytWth});
    }
    FGrd->SetColumnWidths({S.ParaInfo, S.ParaVal, S.ParaDef, S.ParaMin, S.ParaMax});
}

TFrmParaSettings TFormPara::Settings() const {
    TFrmParaSettings s = FParaEinstellungen;
    const QList<int> sizes = splitPara->sizes();
    if (!sizes.isEmpty() && sizes[0] > 0) s.LytWth = sizes[0];
    const std::vector<int>& w = FGrd->ColumnWidths();
    int* fields[] = {&s.ParaInfo, &s.ParaVal, &s.ParaDef, &s.ParaMin, &s.ParaMax};
    for (size_t i = 0; i < std::size(fields) && i < w.size(); ++i)
        if (w[i] > 0) *fields[i] = w[i];
    return s;
}

void TFormPara::WriteSettings() {
    FParaEinstellungen = Settings();
    if (FWriteSettings) FWriteSettings(FParaEinstellungen);
}

// ---------------------------------------------------------------- the further saves

std::string TFormPara::TemplateProposal() const {
    const TIdentity id = FComUnit ? FComUnit->Identity() : TIdentity();
    return Fmt("Ferro_%s_%s_%s_%s.xml", id.Device.c_str(), id.Plant.c_str(), id.Field.c_str(),
               QDateTime::currentDateTime().toString("yyMMdd").toStdString().c_str());
}

void TFormPara::SaveDocumentAs(const std::string& File) {
    if (!Fxf.SaveToFile(File))
        return Message("Die Datei " + File + " kann nicht geschrieben werden. " + Fxf.LastError(), mtError);
    LogPrepare(this, "Exporting Para " + File, false);
}

void TFormPara::btnSaveTemplateClick() {
    if (!Fxf.Loaded() || FBusy) return;
    LogPrepare(this, "Exporting Para", false);
    CheckAllMandatoryNodes(Fxf.Doc());
    const std::string folder = OwnTemplateFolder();
    std::error_code ec;
    if (folder.empty() || (!fs::create_directories(folder, ec) && !fs::is_directory(folder)))
        return Message("Der Ordner der eigenen Vorlagen " + folder + " kann nicht angelegt werden.", mtError);
    const std::string file = folder + TemplateProposal();
    if (fs::exists(file))
        return Ask(Fmt(CFileExistsText, file.c_str()), [this, file] { SaveDocumentAs(file); });
    SaveDocumentAs(file);
}

void TFormPara::btnRundsteuerClick() {
    if (!Fxf.Loaded() || FBusy) return;
    const std::string file =
        Choose(OwnTemplateFolder(), TemplateProposal(), "Export Files (*.xml);;ICD Files (*.icd)", true);
    if (file.empty()) return;
    if (!FTemplateFolderLocal.empty() &&
        fs::path(file).parent_path() == fs::path(FTemplateFolderLocal).parent_path())
        return Message("Die Werksvorlagen sind schreibgeschützt. Bitte wählen Sie einen anderen Ordner.",
                       mtWarning);
    if (LowerExt(file) == ".icd") {
        const std::string icd = FComUnit ? FComUnit->FICDFile : std::string();
        if (icd.empty() || !fs::exists(icd))
            return Message("Es ist noch keine ICD-Datei geladen.", mtWarning);
        auto copy = [this, icd, file] {
            std::error_code ec;
            if (fs::absolute(icd) != fs::absolute(file))
                fs::copy_file(icd, file, fs::copy_options::overwrite_existing, ec);
            if (ec)
                Message(Fmt("Error Exporting ICD File %s %s", file.c_str(), ec.message().c_str()), mtError);
        };
        if (fs::exists(file)) return Ask(Fmt(CFileExistsText, file.c_str()), copy);
        return copy();
    }
    CheckAllMandatoryNodes(Fxf.Doc());
    if (fs::exists(file))
        return Ask(Fmt(CFileExistsText, file.c_str()), [this, file] { SaveDocumentAs(file); });
    SaveDocumentAs(file);
}

// ---------------------------------------------------------------- counting and filling

void TFormPara::actCountAufzeichnungspunkteExecute() {
    if (!FCountNode) return;
    try {
        Message(Fmt("Items: %d", CountRecordingPoints(FCountNode)));
    } catch (const TParaError& e) {
        Message(e.what(), mtError);
    }
}

void TFormPara::actFuellenExecute() {
    FGrd->FillColumn(actFuellen->data().toInt());
}

} // namespace ferro
