#pragma once
// Keeps a table's columns filling its width, the first (the name) taking
// every change: a wider window or a narrower size column widens the names.
// Dragging the name column's own border moves the last column's width
// instead.
#include <QObject>

class QHeaderView;

class NameColumnFit : public QObject
{
    Q_OBJECT
public:
    explicit NameColumnFit(QHeaderView* header);

    // Gives the first column whatever the other visible columns leave.
    void fit();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void onSectionResized(int logicalIndex, int oldSize, int newSize);
    // Width of the visible sections other than first and except.
    int othersWidth(int except) const;

    QHeaderView* m_header;
    bool m_fitting = false;
};
