#include "data/LangFile.h"

#include <QFile>
#include <QXmlStreamReader>

namespace ferro {

bool TLangFile::Load(const std::string& path) {
    QFile f(QString::fromStdString(path));
    if (!f.open(QIODevice::ReadOnly)) return false;
    QXmlStreamReader r(&f);
    while (!r.atEnd()) {
        if (r.readNext() != QXmlStreamReader::StartElement || r.name() != QLatin1String("text")) continue;
        bool ok = false;
        const uint32_t id = r.attributes().value("id").toUInt(&ok);
        if (ok)
            texts_[id] = {r.attributes().value("long").toString().toStdString(),
                          r.attributes().value("short").toString().toStdString()};
    }
    return !r.hasError();
}

std::string TLangFile::IdToText(uint32_t id) const {
    auto it = texts_.find(id);
    return it == texts_.end() ? std::string() : it->second.first;
}

std::string TLangFile::IdToShort(uint32_t id) const {
    auto it = texts_.find(id);
    return it == texts_.end() ? std::string() : it->second.second;
}

} // namespace ferro
