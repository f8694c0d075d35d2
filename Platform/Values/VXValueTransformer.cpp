#include "VXValueTransformer.h"

#include "VXMutex.h"

#include <QtCore/QMap>

namespace {

struct Registry
{
    static Registry &shared()
    {
        static auto *const registry = new Registry; // never freed: static objects may use it until the end
        return *registry;
    }

    VXMutex lock;
    QMap<QString, VXValueTransformer::Ptr> transformers VX_GUARDED_BY(lock);
};

} // namespace

VXValueTransformer::~VXValueTransformer() = default;

bool VXValueTransformer::allowsReverseTransformation() const
{
    return false;
}

QVariant VXValueTransformer::reverseTransformedValue(const QVariant &) const
{
    return {};
}

void VXValueTransformer::setValueTransformer(const QString &name, const Ptr &transformer)
{
    Registry &registry = Registry::shared();
    Ptr earlier; // destroyed after the lock is released
    const VXMutexLocker locker(registry.lock);
    earlier = registry.transformers.take(name);
    if (transformer)
        registry.transformers.insert(name, transformer);
}

VXValueTransformer::Ptr VXValueTransformer::valueTransformerForName(const QString &name)
{
    Registry &registry = Registry::shared();
    const VXMutexLocker locker(registry.lock);
    return registry.transformers.value(name);
}

QStringList VXValueTransformer::names()
{
    Registry &registry = Registry::shared();
    const VXMutexLocker locker(registry.lock);
    return registry.transformers.keys();
}
