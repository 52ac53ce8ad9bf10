#include "forms/FerroGrid.h"

#include "forms/FerroGridDelegate.h"
#include "forms/MessageDialog.h"
#include "para/XMLLangu.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace ferro {

TFerroGrid::TFerroGrid(QWidget* Parent) : QTableView(Parent), FModel(new TFerroGridModel(this)) {
    setObjectName("FGrd");
    setModel(FModel);
    setItemDelegate(new TFerroGridDelegate(this, this));
    setSelectionBehavior(QAbstractItemView::SelectItems);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                    QAbstractItemView::AnyKeyPressed);
    setAlternatingRowColors(true);
    verticalHeader()->setDefaultSectionSize(24);
    verticalHeader()->hide();
    horizontalHeader()->setStretchLastSection(true);
    horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    connect(horizontalHeader(), &QHeaderView::sectionResized, this,
            [this](int Col, int, int NewSize) { ColumnResized(Col, NewSize); });
    FPopup = new QMenu(this);
    FPopup->setObjectName("FPopup");
    FPopup->addAction("eins");
    // The user reads and types the locale's decimal separator; the document keeps its point.
    FModel->FDecimalSep = locale().decimalPoint() == "." ? '.' : ',';
    FModel->FCheckErrorCallBack = [this](const std::string& id, const std::string& mi, const std::string& ma,
                                         const std::string& de, const std::string& out,
                                         const std::string&) { CompareValCallBack(id, mi, ma, de, out); };
    HideColumns(FModel->FVisibility);
}

void TFerroGrid::SetRowCnt() {
    FSizing = true;
    FModel->SetRowCnt();
    // Name, value and default as wide as their longest text (the value with room for the list
    // mark), within bounds that keep the other columns on screen; a kept width stands, and only
    // name and value grow beyond it for a longer text.
    // The name never takes more than about half of a narrow grid: value and default stay in view.
    const int nameMax = viewport()->width() > 0 ? std::clamp(viewport()->width() * 45 / 100, 160, 520) : 520;
    const int bounds[][2] = {{100, nameMax}, {140, 340}, {120, 300}};
    const QFontMetrics fm(font());
    for (int c = TFerroGridModel::ColCap; c < TFerroGridModel::ColCount; ++c) {
        const int kept = FKeptWidths[size_t(c)];
        if (c > TFerroGridModel::ColDef || (kept > 0 && c == TFerroGridModel::ColDef)) {
            if (kept > 0) setColumnWidth(c, kept);
            continue;
        }
        int w = fm.horizontalAdvance(FModel->headerData(c, Qt::Horizontal, Qt::DisplayRole).toString());
        for (int r = 0; r < FModel->rowCount(); ++r)
            w = std::max(w,
                         fm.horizontalAdvance(FModel->data(FModel->index(r, c), Qt::DisplayRole).toString()));
        const int fit = std::clamp(w + 44, bounds[c][0], bounds[c][1]);
        setColumnWidth(c, kept > 0 ? std::max(kept, std::min(fit, w + 20)) : fit);
    }
    FSizing = false;
}

void TFerroGrid::SetColumnWidths(const std::vector<int>& Widths) {
    for (size_t c = 0; c < FKeptWidths.size() && c < Widths.size(); ++c)
        FKeptWidths[c] = std::max(0, Widths[c]);
    FSizing = true;
    for (int c = 0; c < TFerroGridModel::ColCount; ++c)
        if (FKeptWidths[size_t(c)] > 0) setColumnWidth(c, FKeptWidths[size_t(c)]);
    FSizing = false;
}

void TFerroGrid::ColumnResized(int Col, int NewSize) {
    if (FSizing || NewSize <= 0 || Col < 0 || Col >= TFerroGridModel::ColCount) return;
    // The last shown column fills the view: its width follows the window, not the user.
    int last = TFerroGridModel::ColMax;
    while (last > 0 && isColumnHidden(last))
        --last;
    if (Col == last) return;
    FKeptWidths[size_t(Col)] = NewSize;
}

void TFerroGrid::SetVisibility(int Level) {
    FModel->FVisibility = Level;
    HideColumns(Level);
}

void TFerroGrid::HideColumns(int Level) {
    FSizing = true;
    setColumnHidden(TFerroGridModel::ColMin, Level < 2);
    setColumnHidden(TFerroGridModel::ColMax, Level < 2);
    FSizing = false;
}

QString TFerroGrid::CopyToClip() const {
    std::string all;
    char buf[1200];
    for (const TGridRow& r : FModel->Rows()) {
        const char* cap = r.RowCap.c_str();
        switch (r.RowTyp) {
        case grtFloat:
            std::snprintf(buf, sizeof buf, "%s\t%g\t%g\t%g\t%g", cap, r.RowVal.AsFloat(), r.RowDef.AsFloat(),
                          r.RowMin.AsFloat(), r.RowMax.AsFloat());
            break;
        case grtUint32:
            std::snprintf(buf, sizeof buf, "%s\t%" PRIu64 "\t%" PRIu64 "\t%" PRIu64 "\t%" PRIu64, cap,
                          r.RowVal.AsUInt64(), r.RowDef.AsUInt64(), r.RowMin.AsUInt64(), r.RowMax.AsUInt64());
            break;
        case grtInteger:
        case grtBoolean:
        case grtDatapoint:
            std::snprintf(buf, sizeof buf, "%s\t%" PRId64 "\t%" PRId64 "\t%" PRId64 "\t%" PRId64, cap,
                          r.RowVal.AsInt(), r.RowDef.AsInt(), r.RowMin.AsInt(), r.RowMax.AsInt());
            break;
        default:
            std::snprintf(buf, sizeof buf, "%s\t%s\t%s\t%s\t%s", cap, r.RowVal.AsString().c_str(),
                          r.RowDef.AsString().c_str(), r.RowMin.AsString().c_str(),
                          r.RowMax.AsString().c_str());
        }
        all += buf;
        all += "\r\n";
    }
    const QString text = QString::fromStdString(all);
    QApplication::clipboard()->setText(text);
    return text;
}

void TFerroGrid::FillColumn(int Row) {
    const auto& rows = FModel->Rows();
    if (Row < 0 || Row >= int(rows.size())) return;
    const QString value = QString::number(rows[size_t(Row)].RowVal.AsInt());
    setUpdatesEnabled(false);
    for (int r = Row + 1; r < int(rows.size()); ++r)
        FModel->SetValue(TFerroGridModel::ColVal, r, value);
    setUpdatesEnabled(true);
    viewport()->update();
}

void TFerroGrid::PopUpClearen() {
    const QList<QAction*> actions = FPopup->actions();
    for (auto it = actions.rbegin(); it != actions.rend(); ++it) {
        FPopup->removeAction(*it);
        delete *it;
    }
    FPopup->clear();
}

QWidget* TFerroGrid::CompareValCallBack(const std::string& ValID, const std::string& Min,
                                        const std::string& Max, const std::string& Def,
                                        const std::string& OutVal) {
    std::string name = FLang ? FLang->IdToText(ValID) : std::string();
    if (name.empty()) name = ValID;
    return OpenMessageBox(window(), RangeMessage(name, Min, Max, Def, OutVal), mtWarning, Buttons({mbOK}),
                          mbOK, nullptr);
}

void TFerroGrid::OpenChoice(int Row, const QPoint& At) {
    selectRow(Row);
    PopUpClearen();
    FActiveList = FModel->Rows()[size_t(Row)].List;
    for (int i = 0; i < int(FActiveList.size()); ++i) {
        QAction* a = FPopup->addAction(QString::fromStdString(FActiveList[size_t(i)].second));
        a->setObjectName(QString("choice%1").arg(i));
        connect(a, &QAction::triggered, this, [this, i] { ChoicePopUpClick(i); });
    }
    FChoiceRow = Row;
    FPopup->popup(At);
}

void TFerroGrid::ChoicePopUpClick(int Index) {
    if (Index < 0 || Index >= int(FActiveList.size())) return;
    const std::string& name = FActiveList[size_t(Index)].first;
    if (name.empty()) return;
    FModel->SetValue(TFerroGridModel::ColVal, FChoiceRow, QString::fromStdString(name));
}

void TFerroGrid::mousePressEvent(QMouseEvent* Event) {
    const QModelIndex idx = indexAt(Event->position().toPoint());
    const auto& rows = FModel->Rows();
    if (idx.isValid() && idx.row() < int(rows.size())) {
        const TGridRow& r = rows[size_t(idx.row())];
        const bool isSwitch = r.RowTyp == grtBoolean || r.RowTyp == grtDatapoint;
        if (idx.column() == TFerroGridModel::ColVal) {
            if (Event->button() == Qt::LeftButton && r.IsList && r.Editable) {
                OpenChoice(idx.row(), Event->globalPosition().toPoint());
                return;
            }
            if (Event->button() == Qt::LeftButton && isSwitch && r.Editable) {
                FModel->SetValue(TFerroGridModel::ColVal, idx.row(), r.RowVal.AsInt() == 1 ? "0" : "1");
                return;
            }
            if (Event->button() == Qt::RightButton && r.RowTyp == grtDatapoint) {
                if (FRMBDataPointCB) FRMBDataPointCB(idx.row());
                return;
            }
        } else if (idx.column() == TFerroGridModel::ColCap && Event->button() == Qt::RightButton &&
                   FCopyToClip) {
            FCopyToClip(FModel->GetValue(TFerroGridModel::ColCap, idx.row()).toStdString());
            return;
        }
    }
    QTableView::mousePressEvent(Event);
}

bool TFerroGrid::eventFilter(QObject* Watched, QEvent* Event) {
    // The value editor takes the ASCII range from blank to "z" only.
    if (Event->type() == QEvent::KeyPress) {
        const QString t = static_cast<QKeyEvent*>(Event)->text();
        if (!t.isEmpty() && t[0].isPrint() && (t[0] < QChar(' ') || t[0] > QChar('z'))) return true;
    }
    return QTableView::eventFilter(Watched, Event);
}

} // namespace ferro
