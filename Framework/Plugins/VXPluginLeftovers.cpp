#include "VXPluginLeftovers.h"

#include "VXPlugin.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QFile>

#include <algorithm>
#include <link.h>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// The memory ranges of a bundle's code, without that of the plugins inside it.
class CodeRanges
{
public:
    explicit CodeRanges(const VXBundle &bundle)
        : _folder(QFile::encodeName(bundle.bundlePath() + u'/')),
          _childrenFolder(QFile::encodeName(bundle.builtInPlugInsPath() + u'/'))
    {
        ::dl_iterate_phdr(
            [](dl_phdr_info *object, size_t, void *self) {
                static_cast<CodeRanges *>(self)->add(*object);
                return 0;
            },
            this);
    }

    bool contains(const void *address) const
    {
        const auto place = reinterpret_cast<ElfW(Addr)>(address);
        return std::any_of(_ranges.cbegin(), _ranges.cend(),
                           [place](const auto &range) { return place >= range.first && place < range.second; });
    }

private:
    void add(const dl_phdr_info &object)
    {
        const QByteArrayView path(object.dlpi_name);
        if (!path.startsWith(_folder) || path.startsWith(_childrenFolder))
            return;
        for (int index = 0; index < object.dlpi_phnum; ++index) {
            const ElfW(Phdr) &segment = object.dlpi_phdr[index];
            const ElfW(Addr) start = object.dlpi_addr + segment.p_vaddr;
            if (segment.p_type == PT_LOAD)
                _ranges.emplace_back(start, start + segment.p_memsz);
        }
    }

    const QByteArray _folder;
    const QByteArray _childrenFolder;
    std::vector<std::pair<ElfW(Addr), ElfW(Addr)>> _ranges;
};

QString className(const QObject &object)
{
    return QString::fromLatin1(object.metaObject()->className());
}

void appendTimers(const QObject &owner, QStringList &found)
{
    QList<QObject *> objects = owner.findChildren<QObject *>();
    objects.prepend(const_cast<QObject *>(&owner));
    QAbstractEventDispatcher *const dispatcher = QAbstractEventDispatcher::instance(owner.thread());
    for (QObject *const object : std::as_const(objects)) {
        if (dispatcher == nullptr)
            return; // the thread has ended, and its timers with it
        for (const auto &timer : dispatcher->registeredTimers(object))
            found.append(u"timer of %1 every %2 ms"_s.arg(className(owner)).arg(timer.interval));
    }
}

// Makes the call when the deletions deferred so far have been carried out.
void afterDeletionsInWait(const QObject &context, const std::function<void()> &call)
{
    auto *const last = new QObject;
    QObject::connect(last, &QObject::destroyed, &context, call);
    last->deleteLater();
}

} // namespace

QStringList VXPluginLeftovers(const VXBundle &bundle)
{
    const CodeRanges code(bundle);
    QStringList found;
    for (const VXPlugin *const object : VXPlugin::livingObjects()) {
        if (!code.contains(object->metaObject()) || object->isKeptAfterUnload())
            continue;
        found.append("instance of "_L1 + className(*object));
        appendTimers(*object, found);
    }
    for (const auto &observation : VXNotificationCenter::defaultCenter().observations()) {
        const QMetaObject *const context = observation.contextClass;
        if (!code.contains(context) && !code.contains(observation.handlerType))
            continue;
        const QString owner = context == nullptr ? u"nobody"_s : QString::fromLatin1(context->className());
        found.append(u"observer of %1 in %2"_s.arg(observation.name.text(), owner));
    }
    found.sort();
    return found;
}

void VXAfterDeferredDeletions(const QObject &context, const std::function<void()> &call)
{
    // The second round is for deletions that the present callers have yet to defer.
    afterDeletionsInWait(context, [&context, call] { afterDeletionsInWait(context, call); });
}
