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
    ferro::tmStamp_t local = l.CorrectUTCtoLocal({l.FConTime, 0});
    // The rules moved the clock by more than the zone: summer time applies now.
    bool summer = int64_t(local.sec) - int64_t(l.FConTime) != l.FtmeSet.tz.offsetSeconds();
    QDateTime clock = QDateTime::fromSecsSinceEpoch(qint64(local.sec), Qt::UTC);

    QJsonObject o;
    o["serial"] = qint64(l.FSN);
    o["article"] = qint64(l.FArticle);
    o["devType"] = ferro::DevTypeName(l.FDevType);
    o["revision"] = qint64(l.FRev.Rev);
    o["version"] = QString::fromStdString(l.FRev.VerAsStr());
    o["plant"] = QString::fromStdString(l.FPlant);
    o["field"] = QString::fromStdString(l.FField);
    o["device"] = QString::fromStdString(l.FDevice);
    o["clock"] = clock.toString("yyyy-MM-ddTHH:mm:ss");
    o["timeZone"] = QString::fromStdString(ferro::UtcOffsetText(l.FtmeSet.tz.offsetSeconds()));
    o["summerTime"] = summer;
    o["productionDate"] = QDateTime::fromSecsSinceEpoch(qint64(l.FProdDate), Qt::UTC).toString(Qt::ISODate);
    std::printf("%s\n", QJsonDocument(o).toJson(QJsonDocument::Compact).constData());
    session->Close();
    return 0;
}

int RunCommands(const CliOptions&) {
    for (const auto& row : ferro::CommandTable())
        std::printf("%-24s Cmd=%u Priv=%u ExtCmd=0x%X\n", row.Name, row.Cmd, row.Priv, row.ExtCmd);
    return 0;
}

} // namespace ferroctl
