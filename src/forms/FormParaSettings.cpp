#include "forms/FormParaSettings.h"

#include "charts/PQPaintBoxHarm.h"
#include "forms/FormParaTime.h"
#include "forms/PaintBoxWidget.h"
#include "foundation/Format.h"
#include "para/ParaHelper.h"
#include "para/SetupDocument.h"
#include "para/XMLLangu.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QSpinBox>

#include <algorithm>
#include <cmath>

namespace ferro {

namespace {

const char* const CTagProperty = "FerroTag";
// The nominal current in the label of the current thresholds, when the language file has no text.
const char* const CNennStromText = "%% of Nominal Current( %sA )";
constexpr uint32_t CNennStromTextId = 65412;

// A container whose radio buttons stand for the values of one list parameter.
bool IsRadioLayout(const QWidget* W) {
    return W->objectName().startsWith("lyt");
}

QString Q(const std::string& S) {
    return QString::fromStdString(S);
}

} // namespace

TParaSettings::TParaSettings(QWidget* Parent) : QTabWidget(Parent) {
    setObjectName("tabMenuParamSettings");
    setDocumentMode(true);
    FEasy.FMessage = [this](const std::string& T) {
        if (FMessage) FMessage(T);
    };
    FEasy.FLog = [this](const std::string& T) {
        if (FLog) FLog(T);
    };
    auto page = [this](QWidget* W, const char* Name, const char* Text) {
        // Each page scrolls on its own: nothing is cut off in a small window.
        auto* scroll = new QScrollArea(this);
        scroll->setObjectName(Name);
        scroll->setWidgetResizable(true);
        scroll->setFrameShape(QFrame::NoFrame);
        scroll->setWidget(W);
        addTab(scroll, Text);
    };
    page(BuildBasicPage(), "tbtmGrundeinstellungen", "Grundeinstellungen");
    page(BuildLimitsPage(), "tbtmGrenzwerte", "Grenzwerte");
    page(BuildRecorderPage(true), "tbtmRekorderOszi", "Oszilloskop Rekorder");
    page(BuildRecorderPage(false), "tbtmRekorderTRMS", "TRMS Rekorder");
    page(BuildRipplePage(), "RippleControl", "Rundsteuer");
    FTimePage = new TParaTimePage(FEasy, this);
    page(FTimePage, "tbtmZeiteinstellungen", "Zeiteinstellungen");
    page(BuildRcmPage(), "tbtmRCM", "RCM");
    FTimePage->FBind = [this](QWidget* Frame) { NameToTag(Frame); };
    FTimePage->FChanged = [this] { emit Changed(); };
    // Leaving the first page writes the transformers; an unplausible set keeps the user there.
    connect(tabBar(), &QTabBar::tabBarClicked, this, [this](int Index) {
        if (currentIndex() == 0 && Index != 0 && FEasy.Document() && !WriteWandler())
            QMetaObject::invokeMethod(
                this, [this] { setCurrentIndex(0); }, Qt::QueuedConnection);
    });
    connect(this, &QTabWidget::currentChanged, this, [this](int Index) {
        if (widget(Index) && widget(Index)->objectName() == "tbtmZeiteinstellungen") FTimePage->Entered();
        emit PageChanged();
    });
}

TParaSettings::~TParaSettings() = default;

uint32_t TParaSettings::TagFromName(const QString& Name) {
    const int at = Name.indexOf('_');
    if (at < 0) return 0;
    bool ok = false;
    const qulonglong v = Name.mid(at + 1).toULongLong(&ok);
    return ok && v <= 0xFFFFFFFFull ? uint32_t(v) : 0;
}

uint32_t TParaSettings::TagOf(const QObject* Control) const {
    return Control ? Control->property(CTagProperty).toUInt() : 0;
}

// ---------------------------------------------------------------- binding

void TParaSettings::ReadEasyPara(TSetupDocument* Doc, const TXMLLangu* Lang, uint8_t Gen, char DecimalSep) {
    FFilling = true;
    FSettingsDict.clear();
    FEasy.Reset(Doc, Lang, 0, Gen, DecimalSep);
    // The ids the logic needs whether a control shows them or not.
    std::vector<uint32_t> ids = {easyid::OsciRate, easyid::Frequency,    easyid::SekNennSpannung,
                                 easyid::NormLLSp, easyid::WLFU,         easyid::WLFI,
                                 easyid::Netzform, easyid::SekNennStrom, easyid::RcmRated,
                                 easyid::RcmRatio, easyid::TimeMethod};
    for (uint32_t i = 0; i < 4; ++i) {
        ids.push_back(easyid::WLKFU1 + 256 * i);
        ids.push_back(easyid::WLKFI1 + 256 * i);
    }
    ids.insert(ids.end(), std::begin(tzid::All), std::end(tzid::All));
    for (uint32_t id : ids)
        GetSettings(nullptr, id);
    for (int i = 0; i < count(); ++i)
        NameToTag(widget(i));
    for (uint32_t id = easyid::HarmFirst; id <= easyid::HarmLast; id += 256)
        GetSettings(nullptr, id);
    FEasy.FillWandler();
    FillWandlerOutput();
    spnboxHarmChange();
    FillRCM();
    FFilling = false;
    FTimePage->DocumentRead();
    setEnabled(Doc && Doc->Loaded());
}

void TParaSettings::NameToTag(QWidget* Container) {
    for (QObject* o : Container->children()) {
        auto* w = qobject_cast<QWidget*>(o);
        if (!w) continue;
        try {
            const uint32_t tag = FEasy.ReplaceTag(TagFromName(w->objectName()));
            if (auto* l = qobject_cast<QLabel*>(w)) {
                if (tag && w->objectName().startsWith("txt")) {
                    const std::string text =
                        FEasy.Language() ? FEasy.Language()->IdToText(tag) : std::string();
                    if (!text.empty()) l->setText(Q(text));
                }
            } else if (auto* c = qobject_cast<QCheckBox*>(w)) {
                w->setProperty(CTagProperty, tag);
                // A check box with its own caption takes the instrument's text of its (mapped) id.
                if (tag && c->property("FerroCaption").toBool() && FEasy.Language()) {
                    const std::string text = FEasy.Language()->IdToText(tag);
                    if (!text.empty()) c->setText(Q(text));
                }
                GetSettings(w, tag);
                if (tag && !w->property("FerroWired").toBool())
                    connect(c, &QCheckBox::toggled, this, [this, c] { OnValChange(c); });
            } else if (auto* e = qobject_cast<QLineEdit*>(w)) {
                w->setProperty(CTagProperty, tag);
                if (tag) {
                    GetSettings(w, tag);
                    if (!w->property("FerroWired").toBool()) {
                        connect(e, &QLineEdit::editingFinished, this, [this, e] { OnValChange(e); });
                        connect(e, &QLineEdit::textEdited, this, [this, e] { UpdateObjects(e, TagOf(e)); });
                    }
                }
            } else if (auto* s = qobject_cast<QSpinBox*>(w)) {
                w->setProperty(CTagProperty, tag);
                GetSettings(w, tag);
                if (tag && !w->property("FerroWired").toBool())
                    connect(s, qOverload<int>(&QSpinBox::valueChanged), this, [this, s] { OnValChange(s); });
            } else if (auto* g = qobject_cast<QGroupBox*>(w)) {
                if (tag && FEasy.Language()) {
                    const std::string text = FEasy.Language()->IdToText(tag);
                    if (!text.empty()) g->setTitle(Q(text));
                }
                NameToTag(w);
            } else if (auto* b = qobject_cast<QComboBox*>(w)) {
                w->setProperty(CTagProperty, tag);
                GetSettings(w, tag);
                if (tag && !w->property("FerroWired").toBool())
                    connect(b, qOverload<int>(&QComboBox::currentIndexChanged), this,
                            [this, b] { OnValChange(b); });
            } else if (auto* r = qobject_cast<QRadioButton*>(w)) {
                // A button stands for one value of its container's list: the change goes by that.
                w->setProperty(CTagProperty, tag);
                if (tag && !w->property("FerroWired").toBool())
                    connect(r, &QRadioButton::toggled, this, [this, r] { OnValChange(r); });
            } else if (IsRadioLayout(w)) {
                NameToTag(w);
                w->setProperty(CTagProperty, tag);
                GetSettings(w, tag);
            } else {
                NameToTag(w);
            }
            if (tag) w->setProperty("FerroWired", true);
        } catch (const std::exception&) {
            if (FLog) FLog("Name Error " + w->objectName().toStdString());
        }
    }
}

void TParaSettings::GetSettings(QWidget* Control, uint32_t Id) {
    if (Id == 0) return;
    if (auto it = FSettingsDict.find(Id); it != FSettingsDict.end()) {
        if (Control) {
            std::vector<QWidget*>& list = it->second.ObjLst;
            if (std::find(list.begin(), list.end(), Control) == list.end()) list.push_back(Control);
            ApplyRow(Control, Id);
        }
        return;
    }
    TGridRow* row = FEasy.Bind(Id);
    // A control without a parameter at this level stays unbound and cannot be used.
    if (Control) {
        Control->setEnabled(row && row->Editable);
        if (!row) Control->setToolTip("Dieser Wert ist im Setup des Geräts nicht enthalten.");
    }
    if (!row) return;
    TSettingsDict d;
    d.GR = row;
    if (Control) d.ObjLst.push_back(Control);
    FSettingsDict.emplace(Id, std::move(d));
    if (Control) ApplyRow(Control, Id);
}

void TParaSettings::ApplyRow(QWidget* Control, uint32_t Id) {
    const TGridRow* row = FEasy.Row(Id);
    if (!row) return;
    Control->setEnabled(row->Editable);
    const bool filling = FFilling;
    FFilling = true;
    if (auto* e = qobject_cast<QLineEdit*>(Control)) {
        const QSignalBlocker b(e);
        e->setText(Q(FEasy.GetSpecialVal(Id)));
        if (row->RowTyp == grtText) e->setMaxLength(int(std::max<uint64_t>(1, row->RowMax.AsUInt64())));
    } else if (auto* s = qobject_cast<QSpinBox*>(Control)) {
        const QSignalBlocker b(s);
        s->setRange(int(row->RowMin.AsInt()), int(row->RowMax.AsInt()));
        s->setValue(int(row->RowVal.AsInt()));
    } else if (auto* c = qobject_cast<QCheckBox*>(Control)) {
        const QSignalBlocker b(c);
        c->setChecked(row->RowVal.AsInt() != 0);
    } else if (auto* box = qobject_cast<QComboBox*>(Control)) {
        if (row->IsList) CheckSpecialPopBox(box, Id);
    } else if (IsRadioLayout(Control) && row->IsList) {
        const std::string text = row->ListText(std::to_string(std::llround(row->RowVal.AsFloat())));
        for (QRadioButton* r : Control->findChildren<QRadioButton*>()) {
            const uint32_t tag = TagOf(r);
            const std::string own = FEasy.Language() ? FEasy.Language()->IdToText(tag) : std::string();
            if (!own.empty()) r->setText(Q(own));
            const QSignalBlocker b(r);
            r->setChecked(!own.empty() && own == text);
        }
        if (Id == easyid::Netzform) {
            const double form = row->RowVal.AsFloat();
            FEasy.FWandlerRec.Netzform = form >= 2 ? nf3L : form >= 1 ? nf4L1ph : nf4L3Pf;
            edtNennspannungLL->setEnabled(FEasy.FWandlerRec.Netzform == nf3L);
            edtNennspannungLE->setEnabled(FEasy.FWandlerRec.Netzform != nf3L);
            GetSettings(findChild<QComboBox*>("CmbBox_234881024"), easyid::RefVoltEvents);
            GetSettings(findChild<QComboBox*>("CmbBox_235077632"), easyid::RefHarm);
        }
    }
    FFilling = filling;
}

void TParaSettings::CheckSpecialPopBox(QComboBox* Box, uint32_t Id) {
    const TGridRow* row = FEasy.Row(Id);
    if (!row || !Box) return;
    {
        const QSignalBlocker b(Box);
        Box->clear();
        // Between lines or to earth: without a neutral only what the form allows.
        const bool onlyEarth =
            (Id == easyid::RefVoltEvents || Id == easyid::RefHarm) && FEasy.FWandlerRec.Netzform != nf3L;
        for (const auto& [value, text] : row->List)
            if (!onlyEarth || value == "1") Box->addItem(Q(text), Q(value));
        const int at = onlyEarth ? 0 : Box->findData(Q(row->RowVal.AsString()));
        Box->setCurrentIndex(at);
    }
    if (!FFilling || (Id == easyid::RefVoltEvents || Id == easyid::RefHarm)) {
        const bool filling = FFilling;
        FFilling = false;
        OnValChange(Box);
        FFilling = filling;
    }
}

void TParaSettings::UpdateObjects(QWidget* Sender, uint32_t Id) {
    auto it = FSettingsDict.find(Id);
    if (it == FSettingsDict.end()) return;
    auto* from = qobject_cast<QLineEdit*>(Sender);
    for (QWidget* w : it->second.ObjLst) {
        if (w == Sender) continue;
        if (auto* e = qobject_cast<QLineEdit*>(w)) {
            const QSignalBlocker b(e);
            e->setText(from ? from->text() : Q(FEasy.GetSpecialVal(Id)));
        } else if (!from) {
            ApplyRow(w, Id);
        }
    }
}

void TParaSettings::SetNewEditValue(uint32_t Id, const QString& Text) {
    auto it = FSettingsDict.find(Id);
    if (it == FSettingsDict.end()) return;
    for (QWidget* w : it->second.ObjLst)
        if (auto* e = qobject_cast<QLineEdit*>(w)) {
            const QSignalBlocker b(e);
            e->setText(Text);
        }
}

void TParaSettings::OnValChange(QWidget* Sender) {
    if (FFilling || !Sender) return;
    uint32_t id = TagOf(Sender);
    if (qobject_cast<QRadioButton*>(Sender) && Sender->parentWidget()) id = TagOf(Sender->parentWidget());
    const TGridRow* row = FEasy.Row(id);
    if (!row) return;
    const double before = row->RowVal.AsFloat();
    const TNetzForm oldForm = FEasy.FWandlerRec.Netzform;
    bool corrected = false;
    if (auto* e = qobject_cast<QLineEdit*>(Sender)) {
        std::string shown;
        FEasy.SetSpecialVal(e->text().toStdString(), id, shown, corrected);
        // The corrected value is what the document has now: every control of the id shows it.
        SetNewEditValue(id, Q(shown));
        const QSignalBlocker b(e);
        e->setText(Q(shown));
    } else if (auto* s = qobject_cast<QSpinBox*>(Sender)) {
        FEasy.SetStoredVal(std::to_string(s->value()), id, corrected);
        if (corrected) {
            const QSignalBlocker b(s);
            s->setValue(int(row->RowVal.AsInt()));
        }
    } else if (auto* c = qobject_cast<QCheckBox*>(Sender)) {
        FEasy.SetStoredVal(c->isChecked() ? "1" : "0", id, corrected);
    } else if (auto* b = qobject_cast<QComboBox*>(Sender)) {
        const std::string value = b->currentData().toString().toStdString();
        if (value.empty()) return;
        FEasy.SetStoredVal(value, id, corrected);
    } else if (auto* r = qobject_cast<QRadioButton*>(Sender)) {
        if (!r->isChecked()) return;
        const std::string own = FEasy.Language() ? FEasy.Language()->IdToText(TagOf(r)) : std::string();
        for (const auto& [value, text] : row->List)
            if (text == own) FEasy.SetStoredVal(value, id, corrected);
    }
    if (!qobject_cast<QLineEdit*>(Sender)) UpdateObjects(Sender, id);
    emit Changed();
    if (id == easyid::Netzform) {
        if (row->RowVal.AsFloat() != before) NetzformChange(oldForm);
        return;
    }
    FollowUp(id);
}

void TParaSettings::FollowUp(uint32_t Id) {
    switch (Id) {
    case easyid::OsciMin:
    case easyid::OsciMax:
    case easyid::OsciPre:
    case easyid::TrmsMin:
    case easyid::TrmsMax:
    case easyid::TrmsPre:
        FEasy.CheckLengths(Id);
        break;
    case easyid::OsciRate:
        for (uint32_t id : {easyid::OsciPre, easyid::OsciMin, easyid::OsciMax})
            UpdateObjects(nullptr, id);
        break;
    case easyid::Frequency:
        for (uint32_t id : {easyid::TrmsMin, easyid::TrmsMax, easyid::TrmsPre})
            UpdateObjects(nullptr, id);
        break;
    case easyid::RcmRatio:
    case easyid::RcmRated:
        FillRCM();
        break;
    case easyid::SekNennSpannung:
        FEasy.FWandlerRec.SekNennSpannung = float(FEasy.GetVal(Id));
        FEasy.FWandlerRec.CalcOutputs();
        FillWandlerOutput();
        break;
    case easyid::SekNennStrom:
        FillWandlerOutput();
        break;
    case easyid::TimeMethod:
        FTimePage->ChangeTimeFrame();
        break;
    default:
        if (Id >= easyid::HarmFirst && Id <= easyid::HarmLast) UpdateHarmChart();
        break;
    }
}

// ---------------------------------------------------------------- transformers and nominal values

void TParaSettings::FillWandlerOutput() {
    const TWandlerRec& w = FEasy.FWandlerRec;
    const char sep = FEasy.DecimalSep();
    for (int i = 0; i < 4; ++i) {
        const QSignalBlocker bu(edtUL[i]), bi(edtI[i]);
        edtUL[i]->setText(Q(FormatFloat(w.WFU[i], sep)));
        edtI[i]->setText(Q(FormatFloat(w.WFI[i], sep)));
    }
    {
        const QSignalBlocker bl(edtNennspannungLL), be(edtNennspannungLE);
        edtNennspannungLL->setText(Q(FormatFloat(w.NennSpannungLL, sep)));
        edtNennspannungLE->setText(Q(FormatFloat(w.NennSpannungLE, sep)));
    }
    if (auto* sek = findChild<QLineEdit*>("edt_235667456")) {
        const QSignalBlocker b(sek);
        sek->setText(Q(FormatFloat(w.SekNennSpannung, sep)));
    }
    FEasy.UpdateNennStrom();
    swtchNennstrom();
    std::string format = FEasy.Language() ? FEasy.Language()->IdToText(CNennStromTextId) : std::string();
    if (format.empty()) format = CNennStromText;
    const QString text = Q(Fmt(format.c_str(), FormatFloat(FEasy.FNennStrom, sep).c_str()));
    lblNennStromValOsci->setText(text);
    lblNennStromValTRMS->setText(text);
    lblNennStrom->setText(Q(FormatFloat(FEasy.FNennStrom, sep)));
}

void TParaSettings::UpdateWandler() {
    TWandlerRec& w = FEasy.FWandlerRec;
    for (int i = 0; i < 4; ++i) {
        w.WFU[i] = float(ParseFloat(edtUL[i]->text().toStdString()).value_or(1.0));
        w.WFI[i] = float(ParseFloat(edtI[i]->text().toStdString()).value_or(1.0));
    }
    w.CalcInputs();
    // The primary nominal voltage the user set stays; the percentage follows the new factor.
    NennspannungEdited();
}

void TParaSettings::NennspannungEdited() {
    TWandlerRec& w = FEasy.FWandlerRec;
    w.NennspannungChange(edtNennspannungLE->text().toStdString().c_str(),
                         edtNennspannungLL->text().toStdString().c_str());
    FillWandlerOutput();
}

void TParaSettings::NetzformChange(TNetzForm Old) {
    TWandlerRec& w = FEasy.FWandlerRec;
    const double form = FEasy.GetVal(easyid::Netzform);
    w.Netzform = Old;
    const int range = w.ChangeNetzform(form >= 2 ? nf3L : form >= 1 ? nf4L1ph : nf4L3Pf);
    w.CalcOutputs();
    if (auto* box = findChild<QComboBox*>("CmbBox_234946560"); box && range >= 0 && range < box->count())
        box->setCurrentIndex(range);
    edtNennspannungLL->setEnabled(w.Netzform == nf3L);
    edtNennspannungLE->setEnabled(w.Netzform != nf3L);
    FillWandlerOutput();
    GetSettings(findChild<QComboBox*>("CmbBox_234881024"), easyid::RefVoltEvents);
    GetSettings(findChild<QComboBox*>("CmbBox_235077632"), easyid::RefHarm);
}

bool TParaSettings::WriteWandler() {
    const bool ok = FEasy.WriteWandler(edtNennspannungLE->text().toStdString().c_str(),
                                       edtNennspannungLL->text().toStdString().c_str());
    if (ok) {
        UpdateObjects(nullptr, easyid::NormLLSp);
        FillWandlerOutput();
        emit Changed();
    }
    return ok;
}

void TParaSettings::NennStromDispChange(bool Amp) {
    for (QRadioButton* r : {rbPercOszi, rbAmpOszi, rbPercTRMS, rbAmpTRMS}) {
        const QSignalBlocker b(r);
        r->setChecked((r == rbAmpOszi || r == rbAmpTRMS) == Amp);
    }
    FEasy.FAmpDisplay = Amp;
    swtchNennstrom();
}

void TParaSettings::swtchNennstrom() {
    for (uint32_t id = easyid::CurrentFirst; id <= easyid::CurrentLast; id += 0x10000)
        UpdateObjects(nullptr, id);
    for (auto* l : findChildren<QLabel*>("lblCurrentUnit"))
        l->setText(FEasy.FAmpDisplay ? "A" : "%");
}

// ---------------------------------------------------------------- harmonic limits and RCM

void TParaSettings::spnboxHarmChange() {
    const uint32_t id = HarmonicLimitId(spnboxHarm->value());
    edtharmonicLimit->setProperty(CTagProperty, id);
    const TGridRow* row = FEasy.Row(id);
    {
        const QSignalBlocker b(edtharmonicLimit);
        edtharmonicLimit->setText(Q(FEasy.GetSpecialVal(id)));
    }
    edtharmonicLimit->setEnabled(row && row->Editable);
    UpdateHarmChart();
}

void TParaSettings::UpdateHarmChart() {
    for (int h = 2; h <= 50; ++h)
        FHarmBox->SetHarmLim(h, float(FEasy.GetVal(HarmonicLimitId(h))));
    FHarmBox->SetHrmActIdx(spnboxHarm->value());
    FHarmBox->Repaint();
}

void TParaSettings::FillRCM() {
    const QSignalBlocker b(edtBADPri);
    edtBADPri->setText(Q(FEasy.RcmPrimary()));
}

void TParaSettings::edtBADPriChange() {
    const std::string secondary = FEasy.RcmSecondaryFor(edtBADPri->text().toStdString());
    if (secondary.empty()) {
        if (FMessage) FMessage("Invalid input");
        return;
    }
    SetNewEditValue(easyid::RcmRated, Q(secondary));
    auto it = FSettingsDict.find(easyid::RcmRated);
    if (it != FSettingsDict.end() && !it->second.ObjLst.empty()) OnValChange(it->second.ObjLst.front());
}

} // namespace ferro
