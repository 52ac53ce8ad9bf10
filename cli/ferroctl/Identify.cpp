// ferroctl identify: one JSON object with what the instrument says about itself.
#include "Commands.h"

#include "foundation/Format.h"
#include "link/CommandTable.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

namespace ferroctl {

int RunIdentify(const CliOptions& opt) {
    auto session = OpenSession(opt, false); // identifying makes no folders
    if (!session) return 1;
    ferro::TComUnit& l = session->Link();
    const ferro::TIdentity& id = l.Identity();
    ferro::tmStamp_t local = l.CorrectUTCtoLocal({id.ConTime, 0});
    // The rules moved the clock by more than the zone: summer time applies now.
    bool summer = int64_t(local.sec) - int64_t(id.ConTime) != id.TimeSet.tz.offsetSeconds();
    QDateTime clock = QDateTime::fromSecsSinceEpoch(qint64(local.sec), Qt::UTC);

    QJsonObject o;
    o["serial"] = qint64(l.FSN);
    o["article"] = qint64(id.Article);
    o["devType"] = ferro::DevTypeName(id.DevType);
    o["revision"] = qint64(id.Rev.Rev);
    o["version"] = QString::fromStdString(id.Rev.VerAsStr());
    o["plant"] = QString::fromStdString(id.Plant);
    o["field"] = QString::fromStdString(id.Field);
    o["device"] = QString::fromStdString(id.Device);
    o["clock"] = clock.toString("yyyy-MM-ddTHH:mm:ss");
    o["timeZone"] = QString::fromStdString(ferro::UtcOffsetText(id.TimeSet.tz.offsetSeconds()));
    o["summerTime"] = summer;
    o["productionDate"] = QDateTime::fromSecsSinceEpoch(qint64(id.ProdDate), Qt::UTC).toString(Qt::ISODate);
    std::printf("%s\n", QJsonDocument(o).toJson(QJsonDocument::Compact).constData());
    session->CloseAndWait();
    return 0;
}

int RunCommands(const CliOptions&) {
    for (const auto& row : ferro::CommandTable())
        std::printf("%-24s Cmd=%u Priv=%u ExtCmd=0x%X\n", row.Name, row.Cmd, row.Priv, row.ExtCmd);
    return 0;
}

} // namespace ferroctl
