#pragma once
// The rows of the basic settings and time pages: a caption, a control and a unit, each control
// named "<prefix>_<decimal id>" so that the page binds it to its parameter by name.
#include <QGridLayout>
#include <QLabel>
#include <QString>

#include <cstdint>

namespace ferro::parapage {

inline QString Name(const char* Prefix, uint32_t Id) {
    return QString("%1_%2").arg(Prefix).arg(Id);
}

// The caption shows the id until the language file names it.
template <class T>
T* AddRow(QGridLayout* G, QWidget* Parent, const char* Prefix, uint32_t Id, const QString& Unit = {},
          const QString& Caption = {}) {
    const int r = G->rowCount();
    auto* cap = new QLabel(Caption.isEmpty() ? QString::number(Id) : Caption, Parent);
    cap->setObjectName(Name("txt", Id));
    auto* c = new T(Parent);
    c->setObjectName(Name(Prefix, Id));
    G->addWidget(cap, r, 0);
    G->addWidget(c, r, 1);
    if (!Unit.isEmpty()) G->addWidget(new QLabel(Unit, Parent), r, 2);
    return c;
}

} // namespace ferro::parapage
