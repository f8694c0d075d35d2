#include "VXInterfaceFileReader.h"

#include "VXDevicePopupButton.h"
#include "VXHotKeyRecorder.h"
#include "VXPhonebookTokenField.h"
#include "VXSearchField.h"
#include "VXSplitView.h"
#include "VXStatusBar.h"
#include "VXTextLabel.h"

#include <QtCore/QDir>
#include <QtUiTools/QUiLoader>

using namespace Qt::StringLiterals;

namespace {

/** Supports the widgets of the kit. */
class KitLoader : public QUiLoader
{
public:
    QWidget *createWidget(const QString &className, QWidget *parent, const QString &name) override
    {
        QWidget *const widget = make(className, parent);
        if (widget == nullptr)
            return QUiLoader::createWidget(className, parent, name);
        widget->setObjectName(name);
        return widget;
    }

private:
    static QWidget *make(const QString &className, QWidget *parent)
    {
        if (className == "VXSearchField"_L1)
            return new VXSearchField(parent);
        if (className == "VXDevicePopupButton"_L1)
            return new VXDevicePopupButton(parent);
        if (className == "VXHotKeyRecorder"_L1)
            return new VXHotKeyRecorder({}, parent);
        if (className == "VXPhonebookTokenField"_L1)
            return new VXPhonebookTokenField(parent);
        if (className == "VXSplitView"_L1)
            return new VXSplitView(Qt::Horizontal, parent);
        if (className == "VXStatusBar"_L1)
            return new VXStatusBar(parent);
        if (className == "VXTextLabel"_L1)
            return new VXTextLabel({}, VXTextLabel::Role::Body, parent);
        return nullptr;
    }
};

} // namespace

extern "C" Q_DECL_EXPORT QWidget *VXReadInterfaceFile(QIODevice &file, const QDir &folder, QString *reason)
{
    KitLoader loader;
    loader.setWorkingDirectory(folder);
    QWidget *const window = loader.load(&file);
    if (window == nullptr)
        *reason = loader.errorString();
    return window;
}
