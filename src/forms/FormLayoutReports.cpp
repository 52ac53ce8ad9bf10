// Reports of the stored-data form on a 10-minute recording: the six statistic charts (maximum and
// 95 % values against the limits on the harmonic chart) and the EN 50160 report as PDF. The files
// are read and the PDF is drawn on workers; the window keeps turning meanwhile.
#include "forms/FormLayout.h"

#include "charts/PQPaintBoxHarm.h"
#include "forms/PaintBoxWidget.h"
#include "foundation/Format.h"
#include "report/ENEvaluation.h"
#include "report/ENReportPdf.h"
#include "report/ENStatistic.h"

#include <QAction>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QStackedWidget>
#include <QToolBar>
#include <QToolButton>

#include <exception>
#include <filesystem>
#include <typeinfo>

namespace ferro {

void TFormLayout::BuildReports() {
    struct TDef {
        QAction** Action;
        const char* Name;
        const char* Text;
        int Disp;
    };
    const TDef defs[] = {
        {&ActRepHrmsSpannung, "ActRepHrmsSpannung", "Statistik Harmonische", sdHrmULE},
        {&ActRepIntHrmsSpannung, "ActRepIntHrmsSpannung", "Statistik Interharmonische", sdIHrmULE},
        {&ActRepFrqBndSpannung, "ActRepFrqBndSpannung", "Statistik 2,0 - 9,0 kHz", sdFrqBandULE},
        {&ActRepHrmsStrom, "ActRepHrmsStrom", "Statistik Harmonische", sdHrmIL},
        {&actRepIntHrmsStrom, "actRepIntHrmsStrom", "Statistik Zwischenharmonische", sdIHrmIL},
        {&ActRepFrqBndStrom, "ActRepFrqBndStrom", "Statistik 2,0 - 9,0 kHz", sdFrqBandIL},
    };
    PopUpReport = new QMenu(this);
    PopUpReport->setObjectName("PopUpReport");
    actReport->setText("EN-50160-Bericht (PDF) …");
    PopUpReport->addAction(actReport);
    for (size_t k = 0; k < 6; ++k) {
        if (k == 0) PopUpReport->addSection("Spannung");
        if (k == 3) PopUpReport->addSection("Strom");
        QAction* a = new QAction(defs[k].Text, this);
        a->setObjectName(defs[k].Name);
        a->setEnabled(false);
        *defs[k].Action = a;
        PopUpReport->addAction(a);
        const int disp = defs[k].Disp;
        connect(a, &QAction::triggered, this, [this, disp] { GeneENCompleteRep(FRepFN, disp); });
    }
    connect(actReport, &QAction::triggered, this, [this] { actReportExecute(); });
    // One tool button opens the menu; it is usable while any report is.
    auto* button = new QToolButton(ToolBar);
    button->setObjectName("btnReports");
    button->setText("Berichte");
    button->setToolTip("Statistik und EN-50160-Bericht einer 10-Minuten-Aufzeichnung");
    button->setMenu(PopUpReport);
    button->setPopupMode(QToolButton::InstantPopup);
    button->setToolButtonStyle(Qt::ToolButtonTextOnly);
    button->setEnabled(false);
    ToolBar->addSeparator();
    ToolBar->addWidget(button);
    connect(actReport, &QAction::changed, button,
            [this, button] { button->setEnabled(actReport->isEnabled()); });
}

void TFormLayout::Enable10MinReports(bool On) {
    actReport->setToolTip(On ? "Bericht nach EN 50160 dieser Aufzeichnung als PDF"
                             : "Berichte gibt es für 10-Minuten-Aufzeichnungen");
    for (QAction* a : {actReport, ActRepHrmsSpannung, ActRepHrmsStrom, ActRepIntHrmsSpannung,
                       actRepIntHrmsStrom, ActRepFrqBndSpannung, ActRepFrqBndStrom})
        if (a) a->setEnabled(On);
}

void TFormLayout::CreateDestroyPQPaintBoxHarm() {
    if (FHarmWidget) return;
    auto box = std::make_unique<TPQPaintBoxHarm>();
    FPQPaintBoxHarm = box.get();
    FHarmWidget = new PaintBoxWidget(std::move(box), FRightStack);
    FHarmWidget->setObjectName("PQPaintBoxHarm");
    FHarmWidget->SetChartFontSize(12);
    FRightStack->addWidget(FHarmWidget);
}

void TFormLayout::GeneENCompleteRep(const std::string& FileName, int Disp) {
    if (FileName.empty()) return;
    StartWork("Statistik");
    const int seq = ++FStatSeq;
    QPointer<TFormLayout> self(this);
    FStatThread.Start([self, this, seq, FileName, Disp] {
        auto stat = std::make_shared<TENStatistic>();
        std::vector<std::string> log;
        const bool ok =
            ferro::GeneENCompleteRep(FileName, Disp, *stat, [&](const std::string& s) { log.push_back(s); });
        // The form joins this thread before it goes, so the queued call finds it alive.
        QMetaObject::invokeMethod(
            this,
            [self, this, seq, stat, ok, log, FileName] {
                if (!self || seq != FStatSeq) return;
                for (const std::string& l : log)
                    LogPrepare(this, l, false);
                CreateDestroyPQPaintBoxHarm();
                FeedHarmChart(*stat, *FPQPaintBoxHarm);
                FRightStack->setCurrentWidget(FHarmWidget);
                if (!ok)
                    ShowRefusal(FileName, log.empty() ? std::string("keine Datensätze") : log.front());
                else if (LabSBar)
                    LabSBar->setText(QString::fromStdString(
                        stat->ValidSymbols
                            ? Fmt("%s: %d Spalten ausgewertet", StatisticTitle(stat->Disp).c_str(),
                                  stat->ValidSymbols)
                            : StatisticTitle(stat->Disp) + ": die Aufzeichnung enthält keine Werte dazu"));
                EndWork();
                emit StatisticShown(stat->Disp, ok);
            },
            Qt::QueuedConnection);
    });
}

void TFormLayout::actReportExecute() {
    if (FRepFN.empty()) return;
    const std::string rec = FRepFN;
    const std::string suggested =
        (std::filesystem::path(rec).parent_path() /
         (QFileInfo(QString::fromStdString(rec)).completeBaseName().toStdString() + "-EN50160.pdf"))
            .string();
    const std::string out = FAskReportPath ? FAskReportPath(suggested)
                                           : QFileDialog::getSaveFileName(this, "EN-50160-Bericht speichern",
                                                                          QString::fromStdString(suggested),
                                                                          "PDF-Dokument (*.pdf)")
                                                 .toStdString();
    if (out.empty()) return;
    // The events of the period are those downloaded into the local event folder.
    std::vector<std::string> events;
    std::error_code ec;
    const std::string evtDir = EvtDir();
    if (!evtDir.empty())
        for (const auto& e : std::filesystem::directory_iterator(evtDir, ec))
            if (e.is_regular_file(ec)) events.push_back(e.path().string());
    std::sort(events.begin(), events.end());
    StartWork("Bericht");
    if (LabSBar) LabSBar->setText("Bericht wird erstellt …");
    QPointer<TFormLayout> self(this);
    FReportThread.Start([self, this, rec, out, events] {
        bool ok = false;
        std::string text;
        try {
            TENReport report;
            std::string error;
            ok = BuildENReport(rec, events, report, error) &&
                 WriteENReportPdf(report, out, error, [self, this](int page) {
                     QMetaObject::invokeMethod(
                         this,
                         [self, this, page] {
                             if (self && LabSBar)
                                 LabSBar->setText(QString::fromStdString(Fmt("Bericht: Seite %d", page)));
                         },
                         Qt::QueuedConnection);
                 });
            text = ok ? "Bericht gespeichert: " + out : error;
        } catch (const std::exception& e) {
            text = Fmt("ReportError: %s_%s", typeid(e).name(), e.what());
        }
        QMetaObject::invokeMethod(
            this,
            [self, this, ok, text, out] {
                if (!self) return;
                if (LabSBar) LabSBar->setText(QString::fromStdString(text));
                LogPrepare(this, text, !ok);
                EndWork();
                emit ReportWritten(ok, QString::fromStdString(out), QString::fromStdString(text));
            },
            Qt::QueuedConnection);
    });
}

} // namespace ferro
