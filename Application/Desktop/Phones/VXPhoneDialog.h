#pragma once

#include <QtCore/QUrl>
#include <QtWidgets/QDialog>

class QComboBox;
class QLineEdit;
class QListWidget;
class QPushButton;
class QStackedWidget;
class VXTextLabel;

/** Adds a phone, with a search for what it could be connected by; or changes how one that is known is reached. */
class VXPhoneDialog : public QDialog
{
    Q_OBJECT

public:
    /** `url`: of a known phone; empty for a new one. */
    explicit VXPhoneDialog(const QUrl &url, QWidget *parent);

    /** The phone that was added or changed; empty when nothing was. */
    const QUrl &url() const { return _url; }

private:
    enum class Way { Cable, Bluetooth, Folder };

    void findPorts();
    void load();
    void update();
    void chooseFolder();
    QVariantMap preferences() const;
    void apply();
    bool preparePlugin();

    QUrl _url;
    QLineEdit *_name;
    QComboBox *_way;
    QStackedWidget *_places;
    QListWidget *_ports;
    VXTextLabel *_noPorts;
    QLineEdit *_address;
    QLineEdit *_folder;
    VXTextLabel *_problem;
    QPushButton *_done;
};
