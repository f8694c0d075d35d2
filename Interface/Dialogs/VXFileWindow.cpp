#include "VXFileWindow.h"

#include "VXAlertWindow.h"
#include "VXFramework.h"
#include "VXInterface.h"
#include "VXUserDefaults.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QPointer>
#include <QtCore/QSortFilterProxyModel>
#include <QtCore/QStandardPaths>
#include <QtGui/QFileSystemModel>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLineEdit>

using namespace Qt::StringLiterals;

namespace {

const QString lastFolderKey = u"panel.folder"_s;

/** Hides the files and packages that the panel does not accept; folders remain, for navigation. */
class PanelFilter : public QSortFilterProxyModel
{
public:
    PanelFilter(const VXOpenPanel &panel, QObject *parent) : QSortFilterProxyModel(parent), _panel(panel) {}

protected:
    bool filterAcceptsRow(int row, const QModelIndex &parent) const override
    {
        const auto *const files = qobject_cast<const QFileSystemModel *>(sourceModel());
        const QModelIndex index = files->index(row, 0, parent);
        const QString path = files->filePath(index);
        const bool isFolder = files->isDir(index) && !_panel.isPackage(path);
        return isFolder || _panel.canChoose(path);
    }

private:
    const VXOpenPanel _panel;
};

QString folderToBeginIn(const QString &asked)
{
    if (!asked.isNull())
        return asked;
    const QString last = VXUserDefaults::standardUserDefaults().stringForKey(lastFolderKey);
    if (QFileInfo(last).isDir())
        return last;
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return QFileInfo(documents).isDir() ? documents : QDir::homePath();
}

} // namespace

VXFileWindow::VXFileWindow(const VXOpenPanel &panel, QWidget *parent) : QFileDialog(parent), _openPanel(panel)
{
    const bool onlyFolders = panel.canChooseDirectories && !panel.canChooseFiles && panel.packageExtensions.isEmpty();
    setOption(DontUseNativeDialog, panel.shouldShowFilename || !panel.packageExtensions.isEmpty() ||
                                       (panel.canChooseDirectories && panel.canChooseFiles));
    setAcceptMode(AcceptOpen);
    setFileMode(onlyFolders ? Directory : ExistingFile);
    setOption(ShowDirsOnly, onlyFolders);
    begin(panel.message, panel.directory);
    if (!testOption(DontUseNativeDialog))
        return;
    if (panel.shouldShowFilename)
        setProxyModel(new PanelFilter(panel, this));
    // The lists would open a package like a folder.
    for (QAbstractItemView *const view : findChildren<QAbstractItemView *>()) {
        view->installEventFilter(this);
        view->viewport()->installEventFilter(this);
    }
}

VXFileWindow::VXFileWindow(const VXSavePanel &panel, QWidget *parent)
    : QFileDialog(parent), _packageExtension(QFileInfo(panel.proposedName).suffix()), _isChecked(panel.isChecked)
{
    setOption(DontUseNativeDialog, !panel.checkBoxTitle.isNull());
    setAcceptMode(AcceptSave);
    setFileMode(AnyFile);
    setDefaultSuffix(_packageExtension);
    // The desktop's window asks by itself.
    setOption(DontConfirmOverwrite, testOption(DontUseNativeDialog));
    begin(panel.message, panel.directory);
    if (!panel.proposedName.isNull())
        selectFile(panel.proposedName);
    if (!panel.checkBoxTitle.isNull())
        addCheckBox(panel.checkBoxTitle, panel.isChecked);
}

VXFileWindow::~VXFileWindow() = default;

void VXFileWindow::begin(const QString &message, const QString &directory)
{
    if (!message.isNull())
        setWindowTitle(message);
    setDirectory(folderToBeginIn(directory));
    resize(fontMetrics().averageCharWidth() * 110, fontMetrics().lineSpacing() * 28);
}

void VXFileWindow::addCheckBox(const QString &title, bool isChecked)
{
    _checkBox = new QCheckBox(title);
    _checkBox->setChecked(isChecked);
    if (auto *const grid = qobject_cast<QGridLayout *>(layout()))
        grid->addWidget(_checkBox, grid->rowCount(), 0, 1, grid->columnCount());
}

VXPanelResult VXFileWindow::runOpenPanel(const VXOpenPanel &panel, QWidget *parent)
{
    return run(new VXFileWindow(panel, parent));
}

VXPanelResult VXFileWindow::runSavePanel(const VXSavePanel &panel, QWidget *parent)
{
    return run(new VXFileWindow(panel, parent));
}

VXPanelResult VXFileWindow::run(VXFileWindow *view)
{
    const QPointer<VXFileWindow> window(view);
    VXPanelResult result{{}, view->_isChecked};
    const bool isOk = window->exec() == Accepted;
    if (!window) // its parent was destroyed meanwhile
        return result;
    if (window->_checkBox != nullptr)
        result.isChecked = window->_checkBox->isChecked();
    if (isOk) {
        result.path = window->chosenPath();
        VXUserDefaults::standardUserDefaults().setObject(QFileInfo(result.path).path(), lastFolderKey);
    }
    delete window;
    return result;
}

QString VXFileWindow::chosenPath() const
{
    const QStringList paths = selectedFiles();
    return paths.isEmpty() ? QString() : QDir::cleanPath(paths.first());
}

void VXFileWindow::accept()
{
    const QString path = chosenPath();
    if (path.isEmpty())
        return;
    if (!_openPanel)
        return acceptSave(path);
    const bool isPackage = _openPanel->isPackage(path); // is not entered
    const bool isFolder = QFileInfo(path).isDir() && !isPackage;
    if ((isPackage && _openPanel->canChoose(path)) || (isFolder && _openPanel->canChooseDirectories))
        return done(Accepted);
    if (isFolder || _openPanel->canChoose(path) || !QFileInfo::exists(path))
        return QFileDialog::accept();
    VXAlert alert;
    alert.message = VXInterfaceString(u"\"%1\" cannot be chosen here."_s).arg(QFileInfo(path).fileName());
    alert.defaultButton = VXInterfaceString(u"OK"_s);
    static_cast<void>(VXAlertWindow(alert, this).runModal());
}

// A folder of the kind to be written is replaced like a file; any other is entered.
void VXFileWindow::acceptSave(const QString &path)
{
    const QFileInfo info(path);
    const bool isPackage = info.isDir() && !_packageExtension.isEmpty() && info.suffix() == _packageExtension;
    const bool asksHere = isPackage || (testOption(DontConfirmOverwrite) && info.isFile()); // otherwise Qt asks
    if (asksHere && !agreesToReplace(path))
        return;
    if (isPackage)
        done(Accepted);
    else
        QFileDialog::accept();
}

bool VXFileWindow::agreesToReplace(const QString &path)
{
    VXAlert alert;
    alert.message = VXInterfaceString(u"\"%1\" already exists. Replace it?"_s).arg(QFileInfo(path).fileName());
    alert.informativeText = VXInterfaceString(u"Replacing it overwrites what it holds now."_s);
    alert.defaultButton = VXInterfaceString(u"Replace"_s);
    alert.alternateButton = VXInterfaceString(u"Cancel"_s);
    return VXAlertWindow(alert, this).runModal().button == VXAlertButton::Default;
}

bool VXFileWindow::takePackage(const QModelIndex &index)
{
    const QString path = index.siblingAtColumn(0).data(QFileSystemModel::FilePathRole).toString();
    if (!_openPanel || path.isEmpty() || !_openPanel->isPackage(path))
        return false;
    if (_openPanel->canChoose(path)) {
        selectFile(path);
        done(Accepted);
    }
    return true;
}

bool VXFileWindow::eventFilter(QObject *object, QEvent *event)
{
    auto *const view = qobject_cast<QAbstractItemView *>(object);
    if (view != nullptr && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent *>(event)->key();
        if ((key == Qt::Key_Return || key == Qt::Key_Enter) && takePackage(view->currentIndex()))
            return true;
    }
    auto *const parentView = qobject_cast<QAbstractItemView *>(object->parent());
    if (parentView != nullptr && event->type() == QEvent::MouseButtonDblClick) {
        if (takePackage(parentView->indexAt(static_cast<QMouseEvent *>(event)->position().toPoint())))
            return true;
    }
    return QFileDialog::eventFilter(object, event);
}
