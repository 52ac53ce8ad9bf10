#pragma once
// Driving the parameter grid as a user does: rows of a tree item, clicks on cells, typing into the
// value editor.

#include "GuiSupport.h"
#include "MainWindow.h"
#include "forms/FerroGrid.h"
#include "forms/FormPara.h"
#include "para/SetupDocument.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPointer>
#include <QTest>

namespace ferro::guitest {

// The host at 1280x800 with ferrosim on `Port` as its only instrument, the parameter form opened.
inline QPointer<TFormPara> OpenParaOn(TMainWindow& W, int Port) {
    W.resize(1280, 800);
    W.show();
    W.AddInstruments({Entry("ferrosim", "127.0.0.1", Port)});
    W.SelectInstrument(0);
    return qobject_cast<TFormPara*>(W.OpenDirect(dkpara));
}

// The rows of the group or module `Id` in the grid, as a click on its tree item shows them.
inline bool ShowItem(TFerroGrid& Grid, const TSetupDocument& Doc, uint32_t Id, const TXMLLangu& Lang) {
    pugi::xml_node node;
    std::string parent;
    if (!Doc.GetNode(Id, node, parent)) return false;
    Grid.ClearList();
    for (const TGridRow& r : Doc.Rows(node, Grid.Visibility(), &Lang))
        Grid.AddRowVal(r);
    Grid.SetRowCnt();
    QApplication::processEvents();
    return true;
}

inline int RowOf(TFerroGrid& Grid, const std::string& Id) {
    const auto& rows = Grid.Model().Rows();
    for (size_t i = 0; i < rows.size(); ++i)
        if (rows[i].IDStr == Id) return int(i);
    return -1;
}

inline void ClickCell(TFerroGrid& Grid, int Row, int Col, Qt::MouseButton Button = Qt::LeftButton) {
    QTest::mouseClick(Grid.viewport(), Button, {}, Grid.visualRect(Grid.model()->index(Row, Col)).center());
}

// Types `Text` into the value editor of `Row` and confirms it with Return; false without an editor.
inline bool TypeValue(TFerroGrid& Grid, int Row, const QString& Text) {
    const QModelIndex idx = Grid.model()->index(Row, TFerroGridModel::ColVal);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); // editors closed before
    Grid.setCurrentIndex(idx);
    Grid.edit(idx);
    QLineEdit* editor = nullptr;
    for (QLineEdit* e : Grid.findChildren<QLineEdit*>("edtValue"))
        if (e->isVisible()) editor = e;
    if (!editor) return false;
    editor->selectAll();
    for (QChar c : Text) {
        if (c.unicode() < 128) {
            QTest::keyClick(editor, c.toLatin1());
            continue;
        }
        // QTest types ASCII only: an umlaut comes as the key event a keyboard sends.
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Adiaeresis, Qt::NoModifier, QString(c));
        QApplication::sendEvent(editor, &press);
    }
    QTest::keyClick(editor, Qt::Key_Return);
    QApplication::processEvents();
    return true;
}

} // namespace ferro::guitest
