#pragma once

#include <QtCore/QUrl>
#include <QtWidgets/QDialog>

class QComboBox;
class QLineEdit;
class QPushButton;
class QStackedWidget;
class VXFoundPhones;
class VXTextLabel;

/** Adds a phone that was found, or one that the user knows how to reach; or changes how a known phone is reached. */
class VXPhoneDialog : public QDialog
{
    Q_OBJECT

public:
    /** `url`: for a known phone; empty for a new one. */
    explicit VXPhoneDialog(const QUrl &url, QWidget *parent);

    /** The phone that was added or changed; empty if none was. */
    const QUrl &url() const { return _url; }

private:
    enum class Way { Found, Bluetooth, Folder };

    QWidget *makeBluetoothPage();
    QWidget *makeFolderPage();
    bool hasWays() const;
    void load();
    void takeChoice();
    void update();
    void chooseFolder();
    QVariantMap preferences() const;
    void apply();

    QUrl _url;
    const QString _plugin; // for a known phone
    QLineEdit *_name;
    QComboBox *_way;
    QStackedWidget *_places;
    VXFoundPhones *_found;
    QLineEdit *_address;
    QLineEdit *_folder;
    VXTextLabel *_problem;
    QPushButton *_done;
};
