// The pages of the basic settings: built once, bound by name on every read of the setup.
#include "charts/PQPaintBoxHarm.h"
#include "forms/FormParaSettings.h"
#include "forms/PaintBoxWidget.h"
#include "forms/ParaPageRows.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSpinBox>
#include <QTimer>
#include <QVBoxLayout>

namespace ferro {

using parapage::AddRow;
using parapage::Name;

namespace {

const char* const CChannels[] = {"U1E", "U2E", "U3E", "UNE", "U12", "U23",
                                 "U31", "I1",  "I2",  "I3",  "IN",  "IR"};
const char* const CNameKeys =
    "Erlaubt sind nur die Buchstaben a bis Z, die Ziffern, der Unterstrich und der Bindestrich.";

// The designation fields take letters, digits, "_" and "-" only: the instrument builds names from them.
class TNameKeyFilter : public QObject {
public:
    explicit TNameKeyFilter(TParaSettings* Page) : QObject(Page), FPage(Page) {}
    bool eventFilter(QObject* O, QEvent* E) override {
        if (E->type() != QEvent::KeyPress) return false;
        auto* k = static_cast<QKeyEvent*>(E);
        const QString t = k->text();
        if (t.isEmpty() || t.at(0).unicode() < 32 || t.at(0).unicode() == 127) return false;
        const QChar c = t.at(0);
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                        c == '_' || c == '-';
        if (ok) return false;
        if (FPage->FMessage) FPage->FMessage(CNameKeys);
        (void)O;
        return true;
    }

private:
    TParaSettings* FPage;
};

QLineEdit* Edit(QWidget* Parent, const char* Name, int Width = 110) {
    auto* e = new QLineEdit(Parent);
    e->setObjectName(Name);
    e->setMaximumWidth(Width);
    return e;
}

QGridLayout* Grid(QGroupBox* Box) {
    auto* g = new QGridLayout(Box);
    g->setColumnStretch(3, 1);
    g->setHorizontalSpacing(10);
    return g;
}

QGroupBox* Group(QWidget* Parent, const QString& Title, uint32_t Id = 0) {
    auto* g = new QGroupBox(Title, Parent);
    if (Id) g->setObjectName(Name("grp", Id));
    return g;
}

} // namespace

QWidget* TParaSettings::BuildBasicPage() {
    auto* page = new QWidget(this);
    auto* cols = new QHBoxLayout(page);
    auto* left = new QVBoxLayout;
    auto* right = new QVBoxLayout;
    cols->addLayout(left, 1);
    cols->addLayout(right, 1);

    auto* names = Group(page, "Gerätebezeichnung", 4261413897u);
    auto* ng = Grid(names);
    auto* filter = new TNameKeyFilter(this);
    for (uint32_t id : {4261413248u, 4261413261u, 4261413255u, 4261413256u}) {
        auto* e = AddRow<QLineEdit>(ng, names, "edt", id, QString());
        e->setMaxLength(60);
        e->setMinimumWidth(150);
        e->installEventFilter(filter);
    }
    left->addWidget(names);

    // The mains form and the nominal frequency: each a group of radio buttons for one list.
    auto* mains = Group(page, "Netzform");
    auto* mainsLay = new QVBoxLayout(mains);
    auto* netz = new QWidget(mains);
    netz->setObjectName(Name("lyt", 235143168u));
    auto* netzLay = new QVBoxLayout(netz);
    netzLay->setContentsMargins(0, 0, 0, 0);
    for (auto [id, text] : {std::pair{4261413946u, "4-Leiter Netz (3 Phasen)"},
                            {4261413947u, "4-Leiter (unabhängige Phasen)"},
                            {4261413948u, "3-Leiter Netz"}}) {
        auto* r = new QRadioButton(text, netz);
        r->setObjectName(Name("rdbtn", id));
        netzLay->addWidget(r);
    }
    mainsLay->addWidget(netz);
    auto* freq = new QWidget(mains);
    freq->setObjectName(Name("lyt", 218103808u));
    auto* freqLay = new QHBoxLayout(freq);
    freqLay->setContentsMargins(0, 6, 0, 0);
    freqLay->addWidget(new QLabel("Nennfrequenz:", freq));
    for (auto [id, text] : {std::pair{4261413925u, "50 Hz"}, {4261413926u, "60 Hz"}}) {
        auto* r = new QRadioButton(text, freq);
        r->setObjectName(Name("radbtn", id));
        freqLay->addWidget(r);
    }
    freqLay->addStretch(1);
    mainsLay->addWidget(freq);
    auto* refs = new QGridLayout;
    mainsLay->addLayout(refs);
    // The captions are long: the boxes take what is left, not the width of their longest entry.
    for (uint32_t id : {234881024u, 235077632u}) {
        auto* box = AddRow<QComboBox>(refs, mains, "CmbBox", id, QString());
        box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        box->setMinimumContentsLength(10);
    }
    refs->setColumnStretch(1, 1);
    left->addWidget(mains);

    auto* nominal = Group(page, "Nennwerte");
    auto* g = Grid(nominal);
    auto line = [&](const QString& Caption, QWidget* W, const QString& Unit) {
        const int r = g->rowCount();
        g->addWidget(new QLabel(Caption, nominal), r, 0);
        g->addWidget(W, r, 1);
        g->addWidget(new QLabel(Unit, nominal), r, 2);
    };
    edtNennspannungLE = Edit(nominal, "edtNennspannungLE");
    edtNennspannungLL = Edit(nominal, "edtNennspannungLL");
    edtNennspannungLE->setToolTip("Primäre Nennspannung Leiter-Erde (4-Leiter-Netze)");
    edtNennspannungLL->setToolTip("Primäre Nennspannung Leiter-Leiter (3-Leiter-Netz)");
    line("Nennspannung Leiter-Erde", edtNennspannungLE, "V");
    line("Nennspannung Leiter-Leiter", edtNennspannungLL, "V");
    AddRow<QComboBox>(g, nominal, "CmbBox", 234946560u, QString());
    AddRow<QLineEdit>(g, nominal, "edt", 235667456u, "V")->setMaximumWidth(110);
    AddRow<QLineEdit>(g, nominal, "edt", 235732992u, "A")->setMaximumWidth(110);
    lblNennStrom = new QLabel(nominal);
    lblNennStrom->setObjectName("lblNennStrom");
    line("Primärer Nennstrom", lblNennStrom, "A");
    connect(edtNennspannungLE, &QLineEdit::editingFinished, this, [this] { NennspannungEdited(); });
    connect(edtNennspannungLL, &QLineEdit::editingFinished, this, [this] { NennspannungEdited(); });
    right->addWidget(nominal);

    auto* trans = Group(page, "Wandler");
    auto* tg = Grid(trans);
    // One row per channel, the voltage and current ratio side by side.
    auto* hint = new QLabel("Übersetzung primär / sekundär, z. B. 200 für 20000/100 V", trans);
    hint->setWordWrap(true);
    tg->addWidget(hint, 0, 0, 1, 3);
    tg->addWidget(new QLabel("<b>Spannungswandler</b>", trans), 1, 1);
    tg->addWidget(new QLabel("<b>Stromwandler</b>", trans), 1, 2);
    for (int i = 0; i < 4; ++i) {
        const int r = 2 + i;
        tg->addWidget(new QLabel(QString("Kanal %1").arg(i + 1), trans), r, 0);
        edtUL[i] = Edit(trans, qPrintable(QString("edtUL%1").arg(i + 1)));
        tg->addWidget(edtUL[i], r, 1);
        edtI[i] = Edit(trans, qPrintable(QString("edtI%1").arg(i + 1)));
        tg->addWidget(edtI[i], r, 2);
        connect(edtUL[i], &QLineEdit::editingFinished, this, [this] { UpdateWandler(); });
        connect(edtI[i], &QLineEdit::editingFinished, this, [this] { UpdateWandler(); });
    }
    right->addWidget(trans);
    left->addStretch(1);
    right->addStretch(1);
    return page;
}

QWidget* TParaSettings::BuildLimitsPage() {
    auto* page = new QWidget(this);
    auto* lay = new QVBoxLayout(page);
    auto* harm = Group(page, "Oberschwingungsgrenzwerte", 4261413903u);
    auto* hl = new QVBoxLayout(harm);
    auto* top = new QHBoxLayout;
    top->addWidget(new QLabel("Ordnung", harm));
    spnboxHarm = new QSpinBox(harm);
    spnboxHarm->setObjectName("spnboxHarm");
    spnboxHarm->setRange(2, 50);
    top->addWidget(spnboxHarm);
    top->addSpacing(20);
    top->addWidget(new QLabel("Grenzwert", harm));
    edtharmonicLimit = Edit(harm, "edtharmonicLimit");
    top->addWidget(edtharmonicLimit);
    top->addWidget(new QLabel("% der Grundschwingung (100 % = ausgeschaltet)", harm));
    top->addStretch(1);
    hl->addLayout(top);
    auto box = std::make_unique<TPQPaintBoxHarm>();
    FHarmBox = box.get();
    FHarmBox->SetFerroDisp(sdHrmULE);
    pbHarm = new PaintBoxWidget(std::move(box), harm);
    pbHarm->setObjectName("pbHarm");
    pbHarm->setMinimumHeight(300);
    pbHarm->setToolTip("Eine Ordnung anklicken, um ihren Grenzwert zu bearbeiten");
    hl->addWidget(pbHarm, 1);
    lay->addWidget(harm, 1);
    connect(spnboxHarm, qOverload<int>(&QSpinBox::valueChanged), this, [this] { spnboxHarmChange(); });
    connect(edtharmonicLimit, &QLineEdit::editingFinished, this, [this] { OnValChange(edtharmonicLimit); });
    // The chart selects the order under a click itself; the spin box follows it.
    pbHarm->installEventFilter(this);
    return page;
}

QWidget* TParaSettings::BuildRecorderPage(bool Osci) {
    auto* page = new QWidget(this);
    auto* cols = new QHBoxLayout(page);
    auto* left = new QVBoxLayout;
    cols->addLayout(left, 0);
    const uint32_t base = Osci ? 0x10000000u : 0x11000000u;
    auto* lengths = Group(page, Osci ? "Störschrieb" : "Aufzeichnung");
    auto* lg = Grid(lengths);
    for (uint32_t k : {0u, 1u, 2u})
        AddRow<QLineEdit>(lg, lengths, "edt", base + k * 0x10000, "ms")->setMaximumWidth(110);
    if (Osci) AddRow<QComboBox>(lg, lengths, "CmbBox", 0x10040000u, QString());
    left->addWidget(lengths);

    // The current thresholds are one set for both recorders; either page shows and edits them.
    auto* cur = Group(page, "Stromschwellen", 4261413904u);
    auto* cg = Grid(cur);
    auto* unitRow = new QHBoxLayout;
    auto* perc = new QRadioButton("Prozent", cur);
    auto* amp = new QRadioButton("Ampere", cur);
    perc->setObjectName(Osci ? "rbPercOszi" : "rbPercTRMS");
    amp->setObjectName(Osci ? "rbAmpOszi" : "rbAmpTRMS");
    perc->setChecked(true);
    unitRow->addWidget(perc);
    unitRow->addWidget(amp);
    unitRow->addStretch(1);
    (Osci ? rbPercOszi : rbPercTRMS) = perc;
    (Osci ? rbAmpOszi : rbAmpTRMS) = amp;
    connect(perc, &QRadioButton::clicked, this, [this] { NennStromDispChange(false); });
    connect(amp, &QRadioButton::clicked, this, [this] { NennStromDispChange(true); });
    cg->addLayout(unitRow, 0, 0, 1, 3);
    auto* nominal = new QLabel(cur);
    nominal->setObjectName(Osci ? "lblNennStromValOsci" : "lblNennStromValTRMS");
    (Osci ? lblNennStromValOsci : lblNennStromValTRMS) = nominal;
    cg->addWidget(nominal, 1, 0, 1, 3);
    for (uint32_t k = 0; k < 5; ++k) {
        const uint32_t id = 0x0F170000u + k * 0x10000;
        const int r = cg->rowCount();
        auto* cap = new QLabel(QString::number(id), cur);
        cap->setObjectName(Name("txt", id));
        auto* e = Edit(cur, qPrintable(Name(Osci ? "edt0" : "edt1", id)));
        auto* unit = new QLabel("%", cur);
        unit->setObjectName("lblCurrentUnit");
        cg->addWidget(cap, r, 0);
        cg->addWidget(e, r, 1);
        cg->addWidget(unit, r, 2);
    }
    left->addWidget(cur);
    left->addStretch(1);

    // Triggers: per channel the upper and lower threshold, the step and whether it triggers.
    auto* trig = Group(page, "Auslösung");
    auto* tg = new QGridLayout(trig);
    const char* heads[] = {"Kanal", "obere Schwelle %", "untere Schwelle %", "Sprung %", "aktiv"};
    for (int c = 0; c < 5; ++c)
        tg->addWidget(new QLabel(QString("<b>%1</b>").arg(heads[c]), trig), 0, c);
    const uint32_t trigBase = base + 0x30000;
    for (int ch = 0; ch < 12; ++ch) {
        tg->addWidget(new QLabel(CChannels[ch], trig), ch + 1, 0);
        for (uint32_t k = 0; k < 3; ++k)
            tg->addWidget(Edit(trig, qPrintable(Name("edt", trigBase + uint32_t(ch) * 4 + k)), 64), ch + 1,
                          int(k) + 1);
        auto* on = new QCheckBox(trig);
        on->setObjectName(Name("chkbx", trigBase + uint32_t(ch) * 4 + 3));
        tg->addWidget(on, ch + 1, 4);
    }
    // The triggers of the binary inputs and the network, by their ids of the older layout.
    int r = 14;
    for (auto [off, text] : {std::pair{0x59u, "Auslösung über Binäreingang 1"},
                             {0x5Au, "Auslösung über Binäreingang 2"},
                             {0x5Du, "Auslösung über Netzwerk"},
                             {0x5Eu, "Auslösung über Ereignis"}}) {
        auto* c = new QCheckBox(text, trig);
        c->setObjectName(Name("chkbx", trigBase + off));
        c->setProperty("FerroCaption", true);
        tg->addWidget(c, r++, 0, 1, 5);
    }
    tg->setRowStretch(r, 1);
    cols->addWidget(trig, 1);
    return page;
}

QWidget* TParaSettings::BuildRipplePage() {
    auto* page = new QWidget(this);
    auto* lay = new QVBoxLayout(page);
    auto* box = Group(page, "Rundsteuersignal", 4261413906u);
    auto* g = Grid(box);
    AddRow<QLineEdit>(g, box, "edt", 0x0D200000u, "Hz")->setMaximumWidth(110);
    AddRow<QLineEdit>(g, box, "edt", 0x0D210000u, "%")->setMaximumWidth(110);
    AddRow<QCheckBox>(g, box, "chkbx", 0x0D220000u, QString());
    lay->addWidget(box);
    lay->addStretch(1);
    return page;
}

QWidget* TParaSettings::BuildRcmPage() {
    auto* page = new QWidget(this);
    auto* lay = new QVBoxLayout(page);
    auto* box = Group(page, "Differenzstrom (RCM)", 4261413905u);
    auto* g = Grid(box);
    AddRow<QLineEdit>(g, box, "edt", 335609856u, QString())->setMaximumWidth(110);
    AddRow<QLineEdit>(g, box, "edt", 335740928u, "mA")->setMaximumWidth(110);
    edtBADPri = Edit(box, "edtBADPri");
    const int r = g->rowCount();
    g->addWidget(new QLabel("Primärer Bemessungsdifferenzstrom", box), r, 0);
    g->addWidget(edtBADPri, r, 1);
    g->addWidget(new QLabel("mA", box), r, 2);
    connect(edtBADPri, &QLineEdit::editingFinished, this, [this] { edtBADPriChange(); });
    lay->addWidget(box);
    lay->addStretch(1);
    return page;
}

bool TParaSettings::eventFilter(QObject* O, QEvent* E) {
    if (O == pbHarm && E->type() == QEvent::MouseButtonRelease)
        QTimer::singleShot(0, this, [this] {
            if (FHarmBox->HrmActIdx() >= 2) spnboxHarm->setValue(FHarmBox->HrmActIdx());
        });
    return QTabWidget::eventFilter(O, E);
}

} // namespace ferro
