#include "status/FrameStatRows.h"

#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace ferro {

QPushButton* AddRefreshBar(QWidget* Page, QVBoxLayout* Outer, std::function<void()> Clicked) {
    auto* top = new QHBoxLayout;
    auto* b = new QPushButton("Aktualisieren", Page);
    b->setObjectName("btnRefresh");
    b->setToolTip("Den Status neu vom Gerät lesen");
    QObject::connect(b, &QPushButton::clicked, Page, std::move(Clicked));
    top->addStretch();
    top->addWidget(b);
    Outer->addLayout(top);
    return b;
}

TFrameStatRows::TFrameStatRows(const QString& Name, QWidget* Parent) : QWidget(Parent) {
    setObjectName(Name);
    auto* outer = new QVBoxLayout(this);
    btnRefresh = AddRefreshBar(this, outer, [this] {
        if (FOnRefresh) FOnRefresh();
    });
    ScrollBox1 = new QScrollArea(this);
    ScrollBox1->setObjectName("ScrollBox1");
    ScrollBox1->setWidgetResizable(true);
    ScrollBox1->setFrameShape(QFrame::NoFrame);
    auto* inner = new QWidget;
    FContent = new QVBoxLayout(inner);
    FContent->setContentsMargins(10, 10, 10, 10);
    FContent->setSpacing(4);
    FContent->addStretch();
    ScrollBox1->setWidget(inner);
    outer->addWidget(ScrollBox1, 1);
}

void TFrameStatRows::ClearForm() {
    for (QWidget* w : FObjList)
        delete w;
    FObjList.clear();
    ClearLists();
}

QGroupBox* TFrameStatRows::AddSection(const QString& Title, const QString& ObjectName) {
    auto* box = new QGroupBox(Title);
    box->setObjectName(ObjectName.isEmpty() ? "grp" + Title : ObjectName);
    auto* form = new QFormLayout(box);
    form->setContentsMargins(10, 10, 10, 10);
    form->setVerticalSpacing(4);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->setRowWrapPolicy(QFormLayout::DontWrapRows);
    // Above the stretch that keeps the sections at the top.
    FContent->insertWidget(FContent->count() - 1, box);
    Keep(box);
    return box;
}

void TFrameStatRows::AddRow(QGroupBox* Section, const std::string& Name, const std::string& Value) {
    auto* form = static_cast<QFormLayout*>(Section->layout());
    auto* edit = new QLineEdit(QString::fromStdString(Value), Section);
    edit->setReadOnly(true);
    edit->setProperty("style", "transparentedit");
    edit->setStyleSheet("QLineEdit { background: transparent; border: none; }");
    edit->setObjectName("val_" + QString::fromStdString(Name));
    auto* caption = new QLabel(QString::fromStdString(Name), Section);
    caption->setMinimumWidth(150);
    form->addRow(caption, edit);
}

void TFrameStatRows::AddRows(QGroupBox* Section, const TNameValueList& Lines) {
    for (const auto& [name, value] : Lines)
        AddRow(Section, name, value);
}

} // namespace ferro
