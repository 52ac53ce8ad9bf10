#pragma once
// The base of the status pages that show rows: a refresh button, a scroll box of sections, and
// for each line a caption and a read-only value. ClearForm drops every row it made, so a row that
// the instrument no longer reports is gone after the next refresh.

#include "status/StatusReport.h"

#include <QWidget>

#include <functional>
#include <vector>

class QGroupBox;
class QFormLayout;
class QPushButton;
class QScrollArea;
class QVBoxLayout;

namespace ferro {

// The refresh button at the top right of a status page; Clicked runs on each click.
QPushButton* AddRefreshBar(QWidget* Page, QVBoxLayout* Outer, std::function<void()> Clicked);

class TFrameStatRows : public QWidget {
    Q_OBJECT
public:
    explicit TFrameStatRows(const QString& Name, QWidget* Parent = nullptr);

    // Disposes the rows and sections and empties the page's lists.
    void ClearForm();
    // What the refresh button runs (the view's refresh).
    std::function<void()> FOnRefresh;

    QScrollArea* ScrollBox1 = nullptr;

protected:
    virtual void ClearLists() {}
    // A titled section below the last; rows go into it.
    QGroupBox* AddSection(const QString& Title, const QString& ObjectName = QString());
    // Caption and read-only value (style "transparentedit").
    void AddRow(QGroupBox* Section, const std::string& Name, const std::string& Value);
    void AddRows(QGroupBox* Section, const TNameValueList& Lines);
    // A widget kept in the object list, so that ClearForm disposes it.
    void Keep(QWidget* W) { FObjList.push_back(W); }
    QVBoxLayout* Content() const { return FContent; }

private:
    std::vector<QWidget*> FObjList;
    QVBoxLayout* FContent = nullptr;
    QPushButton* btnRefresh = nullptr;
};

} // namespace ferro
