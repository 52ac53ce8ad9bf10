// The live view's pages: tool row, start page with the view buttons, channel buttons, value panel
// and the mirror of the instrument's display.
#include "forms/FormVisu.h"

#include "charts/PQPaintBoxCrvTime.h"
#include "link/CommandTable.h"

#include <QAction>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace ferro {

namespace {

QAction* MakeAction(QWidget* Owner, const char* Name, const QString& Text, const QString& Tip) {
    auto* a = new QAction(Text, Owner);
    a->setObjectName(Name);
    a->setToolTip(Tip);
    Owner->addAction(a);
    return a;
}

QToolButton* ToolFor(QWidget* Parent, QAction* Action) {
    auto* b = new QToolButton(Parent);
    b->setDefaultAction(Action);
    b->setObjectName(QStringLiteral("btn_") + Action->objectName());
    b->setToolButtonStyle(Qt::ToolButtonTextOnly);
    return b;
}

} // namespace

void TFormVisu::BuildToolRow() {
    auto* row = new QWidget(lytBase);
    row->setObjectName("LytTools");
    auto* l = new QHBoxLayout(row);
    l->setContentsMargins(0, 0, 0, 0);
    actMenuBack = MakeAction(this, "actMenuBack", "Zurück", "Zurück zur Auswahl der Ansichten");
    actAutoScale = MakeAction(this, "actAutoScale", "Automatisch skalieren", "Die Kurven neu skalieren");
    actStack = MakeAction(this, "actStack", "Stapeln", "Kurven übereinander, nach Gruppe oder einzeln");
    actCopyData = MakeAction(this, "actCopyData", "Daten kopieren", "Die Werte tabulatorgetrennt kopieren");
    actCopyImage = MakeAction(this, "actCopyImage", "Bild kopieren", "Die Ansicht als Bild kopieren");
    actSoftTrigg = MakeAction(this, "actSoftTrigg", "Aufzeichnung auslösen",
                              "Startet auf dem Gerät eine Aufzeichnung von Hand");
    actMenuBack->setEnabled(false);
    connect(actMenuBack, &QAction::triggered, this, [this] { MenuBack(); });
    connect(actAutoScale, &QAction::triggered, this, [this] { AutoScale(); });
    connect(actStack, &QAction::triggered, this, [this] { ChangeStack(); });
    connect(actCopyData, &QAction::triggered, this, [this] { CopyData(); });
    connect(actCopyImage, &QAction::triggered, this, [this] { CopyImage(); });
    // No answer is awaited: the recording shows up among the instrument's data.
    connect(actSoftTrigg, &QAction::triggered, this,
            [this] { SendCommandToCom("CCC_LUA_COMMAND", CmdLua, 1, 0, "pq.triggerRec()", true); });
    for (QAction* a : {actMenuBack, actAutoScale, actStack, actCopyData, actCopyImage})
        l->addWidget(ToolFor(row, a));
    l->addStretch(1);
    l->addWidget(ToolFor(row, actSoftTrigg));
    lytBase->layout()->addWidget(row);
}

void TFormVisu::BuildColorButtons() {
    LytColors = new QWidget(lytBase);
    LytColors->setObjectName("LytColors");
    auto* l = new QHBoxLayout(LytColors);
    l->setContentsMargins(0, 0, 0, 0);
    l->setSpacing(2);
    static const char* const captions[] = {"U1",  "U2", "U3", "UN", "U12", "U23",
                                           "U31", "I1", "I2", "I3", "IN",  "IR"};
    for (int i = 0; i < COsciChannels; ++i) {
        auto* b = new QToolButton(LytColors);
        b->setObjectName(i == 11 ? QStringLiteral("btnIR") : QStringLiteral("btnCol%1").arg(i));
        b->setCheckable(true);
        // Phases 1 to 3 and the first current at first, as on the instrument's own screen.
        b->setChecked(i < 3 || i == 7);
        b->setText(captions[i]);
        b->setProperty("tag", i);
        b->setToolTip(QStringLiteral("Kanal %1 zeigen oder ausblenden").arg(captions[i]));
        QPixmap swatch(12, 12);
        swatch.fill(QColor::fromRgba(ColArr[size_t(i)]));
        b->setIcon(QIcon(swatch));
        b->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        connect(b, &QToolButton::toggled, this, [this] {
            // The chosen channels anew: the next block fills the curves and is scaled.
            auto* c = FReaders.Oszi ? static_cast<TPQPaintBoxCrvFFT*>(FReaders.Oszi) : FReaders.FFT;
            if (!c) return;
            SelectOsciValues(*c);
            SetColumnColors(*c);
            FReaders.FAutoScl = true;
        });
        FColButtons[size_t(i)] = b;
        l->addWidget(b);
    }
    btnIR = FColButtons[11];
    l->addStretch(1);
    lytBase->layout()->addWidget(LytColors);
}

QToolButton* TFormVisu::ViewButton(QWidget* Parent, const QString& Name, const QString& Text,
                                   TFerroDisp Disp) {
    auto* b = new QToolButton(Parent);
    b->setObjectName(Name);
    b->setText(Text);
    b->setMinimumSize(150, 44);
    b->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(b, &QToolButton::clicked, this, [this, Disp] { OpenDisplay(Disp); });
    return b;
}

void TFormVisu::BuildStartPage() {
    TabItmStart = new QWidget(TabCtrlStream);
    TabItmStart->setObjectName("TabItmStart");
    auto* outer = new QVBoxLayout(TabItmStart);
    auto* grid = new QGridLayout();
    outer->addLayout(grid);
    outer->addStretch(1);
    auto group = [&](int row, int col, const QString& title, std::initializer_list<QToolButton*> buttons) {
        auto* box = new QGroupBox(title, TabItmStart);
        auto* l = new QVBoxLayout(box);
        for (QToolButton* b : buttons) {
            b->setParent(box);
            l->addWidget(b);
        }
        l->addStretch(1);
        grid->addWidget(box, row, col);
    };
    QWidget* p = TabItmStart;
    BtnOsci = ViewButton(p, "BtnOsci", "Oszilloskop", sdOsziTime);
    BtnFFT = ViewButton(p, "BtnFFT", "Spektrum (FFT)", sdOsziFFT);
    btnDisplay = new QToolButton(p);
    btnDisplay->setObjectName("btnDisplay");
    btnDisplay->setText("Gerätedisplay");
    btnDisplay->setMinimumSize(150, 44);
    btnDisplay->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(btnDisplay, &QToolButton::clicked, this, [this] { btnDisplayClick(); });
    group(0, 0, "Übersicht",
          {ViewButton(p, "BtnPanel", "Messwerte", sdPanel),
           ViewButton(p, "BtnVector", "Zeigerdiagramm", sdVecDiag),
           ViewButton(p, "BtnLoadFlow", "Lastfluss", sdLoadFlow), btnDisplay});
    group(0, 1, "Kurvenform", {BtnOsci, BtnFFT});
    group(0, 2, "Harmonische",
          {ViewButton(p, "BtnHrmULE", "U L-E", sdHrmULE), ViewButton(p, "BtnHrmULL", "U L-L", sdHrmULL),
           ViewButton(p, "BtnHrmIL", "I", sdHrmIL)});
    group(1, 1, "Zwischenharmonische",
          {ViewButton(p, "BtnIHrmULE", "U L-E", sdIHrmULE), ViewButton(p, "BtnIHrmULL", "U L-L", sdIHrmULL),
           ViewButton(p, "BtnIHrmIL", "I", sdIHrmIL)});
    group(1, 2, "Frequenzbänder 2 bis 9 kHz",
          {ViewButton(p, "BtnFrqBandULE", "U L-E", sdFrqBandULE),
           ViewButton(p, "BtnFrqBandULL", "U L-L", sdFrqBandULL),
           ViewButton(p, "BtnFrqBandIL", "I", sdFrqBandIL)});
    TabCtrlStream->addWidget(TabItmStart);
}

void TFormVisu::BuildPanelPage() {
    TabItmPanel = new QWidget(TabCtrlStream);
    TabItmPanel->setObjectName("TabItmPanel");
    auto* scroll = new QScrollArea(TabItmPanel);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* outer = new QVBoxLayout(TabItmPanel);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(scroll);
    auto* inner = new QWidget(scroll);
    scroll->setWidget(inner);
    auto* grid = new QGridLayout(inner);
    // Rows of quantities, columns L1, L2, L3 and the sum or neutral.
    struct TRow {
        const char* Caption;
        const char* Fields[4];
    };
    static const TRow rows[] = {
        {"Spannung L-E", {"edtUL1", "edtUL2", "edtUL3", "edtUNE"}},
        {"Spannung L-L", {"edtU12", "edtU23", "edtU31", nullptr}},
        {"Strom", {"edtI1", "edtI2", "edtI3", "edtIN"}},
        {"Wirkleistung P", {"edtP1", "edtP2", "edtP3", "edtPtotal"}},
        {"Blindleistung Q", {"edtQ1", "edtQ2", "edtQ3", "edtQtotal"}},
        {"Verschiebungsblindleistung", {"edtQV1", "edtQV2", "edtQV3", "edtQVtotal"}},
        {"Verzerrungsblindleistung D", {"edtD1", "edtD2", "edtD3", "edtDtotal"}},
        {"Scheinleistung S", {"edtS1", "edtS2", "edtS3", "edtStotal"}},
        {"Leistungsfaktor", {"edtPF1", "edtPF2", "edtPF3", "edtPFtotal"}},
        {"cos \u03C6", {"edtcosPHL1", "edtcosPHL2", "edtcosPHL3", "edtcosPH"}},
        {"Phasenwinkel", {"edtPHL1", "edtPHL2", "edtPHL3", nullptr}},
        {"THD U L-E", {"edtTHDU1E", "edtTHDU2E", "edtTHDU3E", "edtTHDUNE"}},
        {"THD U L-L", {"edtTHDU12", "edtTHDU23", "edtTHDU31", nullptr}},
        {"THD I", {"edtTHDI1", "edtTHDI2", "edtTHDI3", "edtTHDIN"}},
        {"Frequenz", {"edtF", nullptr, nullptr, nullptr}},
        {"Unsymmetrie U", {"edtUU", nullptr, nullptr, nullptr}},
    };
    static const char* const heads[] = {"L1", "L2", "L3", "N / Summe"};
    for (int c = 0; c < 4; ++c) {
        auto* h = new QLabel(heads[c], inner);
        h->setAlignment(Qt::AlignCenter);
        h->setStyleSheet("font-weight:bold");
        grid->addWidget(h, 0, c + 1);
    }
    int r = 1;
    for (const TRow& row : rows) {
        grid->addWidget(new QLabel(row.Caption, inner), r, 0);
        for (int c = 0; c < 4; ++c) {
            if (!row.Fields[c]) continue;
            auto* e = new QLineEdit(inner);
            e->setObjectName(row.Fields[c]);
            e->setReadOnly(true);
            e->setAlignment(Qt::AlignRight);
            e->setMinimumWidth(96);
            grid->addWidget(e, r, c + 1);
        }
        ++r;
    }
    grpBoxBinary = new QGroupBox("Binäreingänge", inner);
    grpBoxBinary->setObjectName("grpBoxBinary");
    auto* bl = new QHBoxLayout(grpBoxBinary);
    for (int i = 0; i < 8; ++i) {
        auto* cell = new QWidget(grpBoxBinary);
        auto* cl = new QHBoxLayout(cell);
        cl->setContentsMargins(0, 0, 8, 0);
        auto* circle = new QLabel(cell);
        circle->setObjectName(QStringLiteral("cirBI%1").arg(i + 1));
        circle->setFixedSize(18, 18);
        circle->setStyleSheet("background:#92959B; border-radius:9px;");
        auto* text = new QLabel(QStringLiteral("BI%1").arg(i + 1), cell);
        text->setObjectName(QStringLiteral("txtBI%1").arg(i + 1));
        cl->addWidget(circle);
        cl->addWidget(text);
        bl->addWidget(cell);
        FBinCircles[size_t(i)] = circle;
    }
    bl->addStretch(1);
    grid->addWidget(grpBoxBinary, r, 0, 1, 5);
    grid->setRowStretch(r + 1, 1);
    grid->setColumnStretch(5, 1);
    TabCtrlStream->addWidget(TabItmPanel);
}

void TFormVisu::ShowPanelTexts(const TPanelTexts& Texts) {
    for (const auto& [name, text] : Texts)
        if (auto* e = TabItmPanel->findChild<QLineEdit*>(QString::fromStdString(name)))
            e->setText(QString::fromStdString(text));
}

void TFormVisu::BuildDisplayPage() {
    TabItmDisp = new QWidget(TabCtrlStream);
    TabItmDisp->setObjectName("TabItmDisp");
    auto* outer = new QHBoxLayout(TabItmDisp);
    // The instrument's front: its screen in a dark frame, the five keys beside it.
    imgDev = new QFrame(TabItmDisp);
    imgDev->setObjectName("imgDev");
    imgDev->setStyleSheet("#imgDev { background:#2E3440; border-radius:12px; }");
    imgDev->setFixedSize(320 + 2 * 18, 240 + 2 * 18);
    auto* devLay = new QVBoxLayout(imgDev);
    devLay->setContentsMargins(18, 18, 18, 18);
    imgDisp = new QLabel(imgDev);
    imgDisp->setObjectName("imgDisp");
    imgDisp->setFixedSize(320, 240);
    imgDisp->setStyleSheet("background:#102030;");
    imgDisp->setAlignment(Qt::AlignCenter);
    devLay->addWidget(imgDisp);
    outer->addWidget(imgDev, 0, Qt::AlignTop);
    auto* keys = new QWidget(TabItmDisp);
    auto* kl = new QGridLayout(keys);
    struct TKey {
        const char* Name;
        const char* Text;
        TBtnControlDevice Btn;
        int Row, Col;
    };
    static const TKey defs[] = {{"rctngltop", "\u25B2", BtnTop, 0, 1},
                                {"rctnglLeft", "\u25C0", BtnLeft, 1, 0},
                                {"rctnglCenter", "OK", BtnEnter, 1, 1},
                                {"rctnglRight", "\u25B6", BtnRight, 1, 2},
                                {"rctnglbot", "\u25BC", BtnDown, 2, 1}};
    for (const TKey& k : defs) {
        auto* b = new QPushButton(k.Text, keys);
        b->setObjectName(k.Name);
        b->setFixedSize(56, 56);
        b->setToolTip("Taste am Gerät drücken (auch mit den Pfeiltasten und der Eingabetaste)");
        connect(b, &QPushButton::clicked, this, [this, btn = k.Btn] { ControlDevice(this, btn); });
        kl->addWidget(b, k.Row, k.Col);
    }
    outer->addWidget(keys, 0, Qt::AlignTop);
    outer->addStretch(1);
    TabCtrlStream->addWidget(TabItmDisp);
}

} // namespace ferro
