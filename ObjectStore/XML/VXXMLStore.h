#pragma once

#include "VXFileLock.h"
#include "VXFileStamp.h"
#include "VXRowTableStore.h"

/**
 * A store in one XML file (docs/FORMATS.md), which is read completely, and replaced by each save. Several processes may
 * use it: each reads what another wrote before it continues.
 */
class VXXMLStore final : public VXRowTableStore
{
public:
    VXXMLStore(const QString &path, const VXManagedObjectModel::Ptr &model, const VXStoreOptions &options);
    ~VXXMLStore() override;

    /** For a file that need not be open. @return empty on failure. */
    static QVariantMap metadataOfFile(const QString &path, VXError *error);

    bool open(VXError *error) override;
    void close() override;
    std::optional<qint64> reserveNumbers(const VXEntityDescription &root, qint64 count, VXError *error) override;
    bool copyTo(const QString &path, VXError *error) override;

protected:
    bool refresh(VXError *error) override;
    std::unique_ptr<VXStoreTransaction> saveInTurn(WriterTurn turn, const VXSaveRequest &request,
                                                   QList<VXRowConflict> *conflicts, VXError *error) override;

private:
    class Transaction;
    struct Contents
    {
        QVariantMap metadata;
        VXRowTables tables;
        VXFileStamp stamp = {};
    };

    bool isOpen(VXError *error) const VX_REQUIRES(_fileLock);
    std::optional<Contents> read(VXError *error) const;
    bool create(VXError *error);
    std::unique_ptr<VXFileLock> lockFile(VXError *error) const;
    QString lockPath() const;
    void raiseHighestNumbers(VXRowTables &tables, const VXFileLock &lock) const;
    void adopt(const Contents &contents) VX_REQUIRES(_fileLock);
    /** What a save with these changes writes. */
    QVariantMap metadataWith(const QVariantMap &changes) const;

    const VXStoreOptions _options;
    mutable VXMutex _fileLock;                      // held while the file is read or replaced; taken before the tables'
    VXFileStamp _stamp VX_GUARDED_BY(_fileLock);    // of the file as it was read or written last
    QVariantMap _metadata VX_GUARDED_BY(_fileLock); // as the file has it
    bool _isClosed VX_GUARDED_BY(_fileLock) = false;
};
