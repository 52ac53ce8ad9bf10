#include "status/FrameStatSystem.h"

#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>

#include <algorithm>
#include <cmath>

namespace ferro {

void TFrameSystem::SetSystemData() {
    std::stable_sort(FLstSysLoad.begin(), FLstSysLoad.end(),
                     [](const TSysloadRec& a, const TSysloadRec& b) { return a.Load < b.Load; });
    QGroupBox* load = AddSection("Systemlast", "grpboxSysLoad");
    auto* form = static_cast<QFormLayout*>(load->layout());
    for (const TSysloadRec& rec : FLstSysLoad) {
        auto* row = new QWidget(load);
        auto* h = new QHBoxLayout(row);
        h->setContentsMargins(0, 0, 0, 0);
        auto* bar = new QProgressBar(row);
        bar->setObjectName("pb_" + QString::fromStdString(rec.Syspart));
        bar->setRange(0, 100);
        bar->setValue(int(std::lround(std::clamp(rec.Load, 0.0f, 100.0f))));
        bar->setTextVisible(false);
        auto* text = new QLabel(QLocale().toString(double(rec.Load), 'f', 1) + " %", row);
        text->setObjectName("txt_" + QString::fromStdString(rec.Syspart));
        text->setMinimumWidth(60);
        text->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        h->addWidget(bar, 1);
        h->addWidget(text);
        auto* caption = new QLabel(QString::fromStdString(rec.Syspart), load);
        caption->setMinimumWidth(150);
        form->addRow(caption, row);
    }
    AddRows(AddSection("Aktuelle Aufzeichnungsdateien", "grpboxSysFiles"), FLstLog);
}

} // namespace ferro
