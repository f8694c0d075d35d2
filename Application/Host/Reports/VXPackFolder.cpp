#include "VXPackFolder.h"

#include "VXZipFile.h"

#include <QtCore/QEventLoop>
#include <QtCore/QFile>

namespace {

class Packing : public QObject
{
    Q_OBJECT

public:
    VXError pack(const QString &folder, const QString &archive)
    {
        QFile::remove(archive); // otherwise the files would be added to an existing one
        const VXZipFile::Ptr file = VXZipFile::create();
        file->setDelegate(this);
        file->setDestinationPath(archive);
        file->zip({folder});
        _loop.exec();
        return file->error();
    }
    Q_INVOKABLE void zipDidComplete(VXZipFile *) { _loop.quit(); }

private:
    QEventLoop _loop;
};

} // namespace

VXError VXPackFolder(const QString &folder, const QString &archive)
{
    return Packing().pack(folder, archive);
}

#include "VXPackFolder.moc"
