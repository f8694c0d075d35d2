#pragma once

#include "VXLogEntry.h"

#include <QtWidgets/QDialog>

#include <deque>
#include <memory>

class QComboBox;
class QPlainTextEdit;
class QPushButton;
class VXLogTail;
class VXSearchField;

/**
 * The program's log while it is written: filtered by level, searchable, and ready to be copied. Phone numbers are
 * masked. Shows the last 5,000 entries.
 */
class VXLogWindow : public QDialog
{
    Q_OBJECT

public:
    explicit VXLogWindow(QWidget *parent);
    ~VXLogWindow() override;

private:
    void take(const QByteArray &line);
    void showEntries(bool isAnew);
    bool isShown(const VXLogEntry &entry) const;

    std::deque<VXLogEntry> _entries;
    size_t _shown = 0; // number of entries already checked for the text
    std::unique_ptr<VXLogTail> _tail;
    QComboBox *_level;
    VXSearchField *_search;
    QPushButton *_pause;
    QPlainTextEdit *_text;
};
