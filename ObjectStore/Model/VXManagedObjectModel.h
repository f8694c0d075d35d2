#pragma once

#include "VXEntityDescription.h"
#include "VXModelDefinition.h"

#include <QtCore/QMap>

#include <memory>
#include <vector>

/**
 * The entities of a store and their relations. Made from one or more model files, checked, and immutable, so any thread
 * may read it.
 */
class VX_STORE_EXPORT VXManagedObjectModel
{
public:
    using Ptr = std::shared_ptr<const VXManagedObjectModel>;

    /** @return null, with the first problem as error, when the definition is invalid (VXCheckModel). */
    [[nodiscard]] static Ptr modelWithDefinition(const VXModelDefinition &definition, VXError *error = nullptr);
    /** Reads a compiled model (.mom). @return null, with the path in the error, on failure. */
    [[nodiscard]] static Ptr modelWithContentsOfFile(const QString &path, VXError *error = nullptr);
    /**
     * One model with the entities of all. An entity that several have must be the same in each; relationships may lead
     * from one model into another. @return null on failure, also when one of them is null: an error that is there already is kept then.
     */
    [[nodiscard]] static Ptr modelByMergingModels(const QList<Ptr> &models, VXError *error = nullptr);

    ~VXManagedObjectModel();
    VXManagedObjectModel(const VXManagedObjectModel &) = delete;
    VXManagedObjectModel &operator=(const VXManagedObjectModel &) = delete;

    /** In the order of definition. */
    const QList<const VXEntityDescription *> &entities() const { return _entities; }
    /** nullptr when the model has no entity of that name. */
    const VXEntityDescription *entityForName(const QString &name) const { return _byName.value(name); }

    const VXModelDefinition &definition() const { return _definition; }
    /** Writes the compiled form; replaces the file atomically. */
    bool writeToFile(const QString &path, VXError *error = nullptr) const;

    /**
     * For each entity a digest (SHA-256) of everything that determines how its objects are stored. If digests are
     * equal, one model can read what was written with the other.
     */
    const QMap<QString, QByteArray> &entityVersionHashes() const { return _hashes; }

private:
    explicit VXManagedObjectModel(const VXModelDefinition &definition);

    const VXModelDefinition _definition;
    std::vector<std::unique_ptr<VXEntityDescription>> _owned;
    QList<const VXEntityDescription *> _entities;
    QHash<QString, const VXEntityDescription *> _byName;
    QMap<QString, QByteArray> _hashes;
};
