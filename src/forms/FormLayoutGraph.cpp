// A read recording on the time chart: checking curves in tvSelect, the chart's life, markers and
// their table, the scale tab, stacking and the clipboard.
#include "charts/ClipLst.h"
#include "charts/DateText.h"
#include "forms/FormLayout.h"
#include "forms/PaintBoxWidget.h"
#include "forms/ValueGridModel.h"
#include "foundation/Format.h"
#include "stored/GraphAssembly.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScrollArea>
#include <QTabWidget>
#include <QTableView>
#include <QTreeWidget>

#include <cmath>

namespace ferro {

namespace {

// "h:mm:ss.zzz" of a span of milliseconds, with days in front when there are some.
std::string DurationText(int64_t Ms) {
    const bool neg = Ms < 0;
    uint64_t m = uint64_t(neg ? -Ms : Ms);
    const uint64_t days = m / 86400000;
    m %= 86400000;
    std::string t = Fmt("%s%llu:%02llu:%02llu.%03llu", neg ? "-" : "", (unsigned long long)(m / 3600000),
                        (unsigned long long)(m / 60000 % 60), (unsigned long long)(m / 1000 % 60),
                        (unsigned long long)(m % 1000));
    return days ? Fmt("%llu d ", (unsigned long long)days) + t : t;
}

} // namespace

void TFormLayout::WireGraphActions() {
    connect(actMarker1, &QAction::triggered, this, [this] {
        if (FPQPaintBoxCrvTime) FPQPaintBoxCrvTime->MakeMouseUp(mbLeft, ssShift);
    });
    connect(actMarker2, &QAction::triggered, this, [this] {
        if (FPQPaintBoxCrvTime) FPQPaintBoxCrvTime->MakeMouseUp(mbLeft, ssCtrl);
    });
    connect(ActStack, &QAction::triggered, this, [this] {
        if (!FPQPaintBoxCrvTime) return;
        FPQPaintBoxCrvTime->SetStack(TStackTyp((int(FPQPaintBoxCrvTime->Stack()) + 1) % 3));
        const bool regions = FPQPaintBoxCrvTime->Stack() != 0;
        edtScaleMax->setEnabled(regions);
        edtScaleMin->setEnabled(regions);
        btnSetScale->setEnabled(regions);
        FPQPaintBoxCrvTime->ForceRepaint();
        FChartWidget->update();
    });
    connect(ActScale, &QAction::triggered, this, [this] {
        if (!FPQPaintBoxCrvTime) return;
        tbcSettings->show();
        TRectF r;
        if (FPQPaintBoxCrvTime->GetSclRegion(r)) FillScaleControls(r);
        tbcSettings->setCurrentWidget(tbtmScale);
    });
    connect(tbcSettings, &QTabWidget::currentChanged, this, [this](int) {
        if (tbcSettings->currentWidget() != tbtmScale || !FPQPaintBoxCrvTime ||
            !lblScaleType->text().isEmpty())
            return;
        TRectF r;
        if (FPQPaintBoxCrvTime->GetSclRegionZero(r)) FillScaleControls(r);
    });
    auto setScale = [this] {
        if (!FPQPaintBoxCrvTime) return;
        bool okMin = false, okMax = false;
        double mn = QLocale().toDouble(edtScaleMin->text(), &okMin);
        if (!okMin) mn = edtScaleMin->text().toDouble(&okMin);
        double mx = QLocale().toDouble(edtScaleMax->text(), &okMax);
        if (!okMax) mx = edtScaleMax->text().toDouble(&okMax);
        FPQPaintBoxCrvTime->SetSclRegion(okMin ? mn : 0.0, okMax ? mx : 0.0);
        FChartWidget->update();
    };
    connect(btnSetScale, &QPushButton::clicked, this, setScale);
    connect(edtScaleMin, &QLineEdit::returnPressed, this, setScale);
    connect(btnScaleAutoscale, &QPushButton::clicked, this, [this] {
        if (!FPQPaintBoxCrvTime) return;
        FPQPaintBoxCrvTime->AutoScaleAll();
        FPQPaintBoxCrvTime->ForceRepaint();
        FChartWidget->update();
    });
    connect(ActCopyImage, &QAction::triggered, this, [this] {
        if (FChartWidget) QApplication::clipboard()->setPixmap(FChartWidget->grab());
    });
    connect(ActCopyData, &QAction::triggered, this, [this] {
        TClipLst clip;
        if (FPQPaintBoxCrvTime && FPQPaintBoxCrvTime->CopyToClip(clip)) clip.CopyToClip();
    });
}

void TFormLayout::FillScaleControls(const TRectF& Region) {
    // The region is found again by its rectangle; its value range and caption come with it.
    for (const TPropertyRect& p : FPQPaintBoxCrvTime->PropLst()) {
        if (p.RR.Left != Region.Left || p.RR.Top != Region.Top) continue;
        lblScaleType->setText(QString::fromStdString(p.Sym));
        lblScaleUnit->setText(QString::fromStdString(p.Unt));
        edtScaleMax->setText(QLocale().toString(p.Max, 'g', 6));
        edtScaleMin->setText(QLocale().toString(p.Min, 'g', 6));
        return;
    }
}

void TFormLayout::tvSelectChangeCheck(QTreeWidgetItem* Item) {
    FInClick = true;
    tvSelect->setUpdatesEnabled(false);
    if (Item->childCount() > 0) {
        const Qt::CheckState s = Item->checkState(0);
        for (int i = 0; i < Item->childCount(); ++i) {
            QTreeWidgetItem* c = Item->child(i);
            if (c->checkState(0) == s) continue;
            c->setCheckState(0, s);
            AddRemovePaintLst(c);
        }
    } else {
        QTreeWidgetItem* p = Item->parent();
        if (p) {
            bool all = true;
            for (int i = 0; i < p->childCount(); ++i)
                all = all && p->child(i)->checkState(0) == Qt::Checked;
            if (Item->checkState(0) == Qt::Checked)
                p->setCheckState(0, all ? Qt::Checked : Qt::Unchecked);
            else
                p->setCheckState(0, Qt::Unchecked);
        }
        AddRemovePaintLst(Item);
    }
    tvSelect->setUpdatesEnabled(true);
    FInClick = false;
    // Several curves of a group checked at once: one painting.
    PaintGraph();
}

void TFormLayout::AddRemovePaintLst(QTreeWidgetItem* Item) {
    if (Item->checkState(0) == Qt::Checked) {
        if (std::find(FPaintLst.begin(), FPaintLst.end(), Item) == FPaintLst.end()) FPaintLst.push_back(Item);
        if (!FPQPaintBoxCrvTime) CreateDestroyPQPaintBoxCurve();
    } else {
        Item->setData(0, Qt::ForegroundRole, QVariant());
        FPaintLst.erase(std::remove(FPaintLst.begin(), FPaintLst.end(), Item), FPaintLst.end());
        if (FPaintLst.empty()) CreateDestroyPQPaintBoxCurve();
    }
}

void TFormLayout::CreateDestroyPQPaintBoxCurve() {
    if (FChartWidget && FPaintLst.empty()) {
        ScrollPaintBox->takeWidget();
        delete FChartWidget;
        FChartWidget = nullptr;
        FPQPaintBoxCrvTime = nullptr;
        ScrollPaintBox->hide();
    } else if (FChartWidget && !FChartWidget->isVisible()) {
        ScrollPaintBox->show();
        FChartWidget->show();
    } else if (!FChartWidget && !FPaintLst.empty()) {
        ScrollPaintBox->show();
        auto box = std::make_unique<TPQPaintBoxCrvTime>();
        FPQPaintBoxCrvTime = box.get();
        FChartWidget = new PaintBoxWidget(std::move(box));
        FChartWidget->setObjectName("PQPaintBoxCrvTime");
        FChartWidget->setMinimumSize(400, 250);
        ScrollPaintBox->setWidget(FChartWidget);
        ShowChartPane();
        // The size the scroll area would give it later, at once: a first picture of another size
        // would be drawn twice.
        FChartWidget->resize(ScrollPaintBox->viewport()->size().expandedTo(FChartWidget->minimumSize()));
        FPQPaintBoxCrvTime->SetMarkerNotify(
            [this](TPQPaintBox*, int Mark, uint64_t TS, const std::vector<std::string>& SL,
                   const TSingleArray& Vals) { MarkerNotify(Mark, TS, SL, Vals); });
        FPQPaintBoxCrvTime->SetStack(TStackTyp(1));
        FPQPaintBoxCrvTime->SetMouseNotify([this](TPQPaintBox*, const TPointF& P1, const TPointF& P2,
                                                  TMouseButton B,
                                                  TShiftState S) { MousePaintBoxNoti(P1, P2, B, S); });
    }
    SwitchActionsForPB();
}

void TFormLayout::SwitchActionsForPB() {
    const bool on = FPQPaintBoxCrvTime != nullptr;
    for (QAction* a : {ActScale, ActStack, ActCopyImage, ActCopyData, actMarker1, actMarker2})
        a->setEnabled(on);
    const QString why = on ? QString() : QString("Erst eine Kurve auswählen");
    ActScale->setToolTip(on ? "Skalierung" : why);
    ActStack->setToolTip(on ? "Stapeln" : why);
}

void TFormLayout::PaintGraph() {
    if (!FPQPaintBoxCrvTime) return;
    if (!FChartWidget->isVisible()) CreateDestroyPQPaintBoxCurve();
    if (FPaintLst.empty()) return;
    if (tbcSettings->currentWidget() == tbtmMarker) tbcSettings->setCurrentWidget(tbtmTV);
    FMarkerList.clear();
    FMarkerModel->SetRowCount(0);
    std::vector<int> tags;
    for (QTreeWidgetItem* it : FPaintLst)
        tags.push_back(it->data(0, CTagRole).toInt());
    auto names = [this](uint32_t id) {
        // The long text: the instrument's short texts are often only the unit.
        std::string s = FLangXML.IdToText(id);
        return s.empty() ? FLangXML.IdToShort(id) : s;
    };
    if (FPrepared && FPrepared->Tags == tags) {
        TGraphAssembly::Show(FRec, *FPrepared, *FPQPaintBoxCrvTime, ColArr, names);
        FPrepared.reset();
    } else {
        TGraphAssembly::Paint(FRec, tags, *FPQPaintBoxCrvTime, ColArr, names,
                              [this](const std::string& l) { LogPrepare(this, l, false); });
    }
    // A new colour is a change of the item: without the guard each would paint all over again.
    const bool inClick = FInClick;
    FInClick = true;
    for (size_t i = 0; i < FPaintLst.size(); ++i) {
        const TAlphaColor c = TGraphAssembly::ColourOf(tags[i], ColArr);
        FPaintLst[i]->setForeground(0, QColor::fromRgba(c));
    }
    FInClick = inClick;
    FPQPaintBoxCrvTime->ForceRepaint();
    FChartWidget->update();
}

void TFormLayout::MarkerNotify(int Mark, uint64_t TS, const std::vector<std::string>& SL,
                               const TSingleArray& Vals) {
    if (SL.size() != FMarkerList.size()) FMarkerList.assign(SL.size(), TMarkerRecord());
    for (size_t r = 0; r < FMarkerList.size(); ++r) {
        TMarkerRecord& m = FMarkerList[r];
        m.Name = SL[r];
        const float v = r < Vals.size() ? Vals[r] : 0.0f;
        if (Mark == 0) {
            m.M1 = v;
            if (r == 0) {
                FMarkerModel->SetHeader(1, QString::fromStdString(StampToText(LinearToTS(TS))));
                FMarkerTimeRecord.StartTime = TS;
            }
        } else {
            m.M2 = v;
            if (r == 0) {
                FMarkerModel->SetHeader(2, QString::fromStdString(StampToText(LinearToTS(TS))));
                FMarkerTimeRecord.EndTime = TS;
            }
        }
        m.Dif = m.M1 - m.M2;
    }
    const int64_t ms = (int64_t(FMarkerTimeRecord.EndTime) - int64_t(FMarkerTimeRecord.StartTime)) / 1000000;
    FMarkerModel->SetHeader(3, QString::fromStdString(DurationText(ms)));
    FMarkerModel->SetRowCount(int(FMarkerList.size()));
    if (tbcSettings->currentWidget() != tbtmMarker) tbcSettings->setCurrentWidget(tbtmMarker);
}

std::string TFormLayout::grdMarkerGetValue(int Col, int Row) const {
    if (Row < 0 || size_t(Row) >= FMarkerList.size()) return {};
    const TMarkerRecord& m = FMarkerList[size_t(Row)];
    auto num = [](float v) { return QLocale().toString(double(v), 'f', 3).toStdString(); };
    switch (Col) {
    case 0:
        return m.Name;
    case 1:
        return num(m.M1);
    case 2:
        return num(m.M2);
    case 3:
        return num(m.Dif);
    default:
        return {};
    }
}

void TFormLayout::MousePaintBoxNoti(const TPointF& P1, const TPointF& P2, TMouseButton Button,
                                    TShiftState Shift) {
    if (LabSBar) LabSBar->setText(QString::fromStdString(Fmt("P1=%g-%g P2=%g-%g", P1.X, P1.Y, P2.X, P2.Y)));
    FClickRecord = {float(P2.X), float(P2.Y), Shift};
    if (!FPQPaintBoxCrvTime) return;
    if (Button == mbRight) {
        PopUpPaintBoxCurve->popup(QCursor::pos());
    } else if (Button == mbLeft) {
        TRectF r;
        if (FPQPaintBoxCrvTime->GetSclRegion(r)) FillScaleControls(r);
    }
}

} // namespace ferro
