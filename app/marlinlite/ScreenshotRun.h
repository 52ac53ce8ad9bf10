#pragma once
// Photographs the host and every registered view on the first listed instrument, one PNG per view
// and per page, for the README and for people reviewing a view.

#include <QString>
#include <QStringList>

class QWidget;

namespace ferro {

class TMainWindow;

class TScreenshotRun {
public:
    TScreenshotRun(TMainWindow& Host, QString Dir) : FHost(Host), FDir(std::move(Dir)) {}
    // Runs to the end; returns the number of pictures that could not be taken. Every wait is
    // bounded by `ConnectMs`, so an instrument that does not answer costs time, never a hang.
    int Run(int ConnectMs = 25000);
    // Only these views (names after "dk", e.g. "complete"), without the host and connection
    // pictures; every file name starts with `Prefix` (a second instrument beside the first run).
    void Restrict(QStringList Kinds, QString Prefix) {
        FKinds = std::move(Kinds);
        FPrefix = std::move(Prefix);
    }
    const QStringList& Written() const { return FWritten; }

private:
    bool Save(QWidget& W, const QString& Name);

    TMainWindow& FHost;
    QString FDir;
    QStringList FWritten;
    QStringList FKinds;
    QString FPrefix;
};

} // namespace ferro
