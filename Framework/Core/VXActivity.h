#pragma once

#include "VXFrameworkExport.h"
#include "VXMutex.h"

#include <QtCore/QHashFunctions>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QString>

#include <atomic>
#include <memory>

/**
 * A titled progress item for work that takes a while: its owner updates it, the user interface shows it. Made by
 * VXActivityManager and shared by its users. Any thread may read and update.
 */
class VX_EXPORT VXActivity
{
public:
    using Ptr = std::shared_ptr<VXActivity>;

    /** Identifies an activity. Most activities are never asked for their identifier, so a new key is a number until its
     *  identifier is needed. */
    class Key
    {
    public:
        /** A new, unique key. */
        Key();
        explicit Key(const QString &identifier);
        QString identifier() const;

        friend bool operator==(const Key &a, const Key &b) = default;
        friend size_t qHash(const Key &key, size_t seed = 0) noexcept
        {
            return key._number != 0 ? ::qHash(key._number, seed) : ::qHash(key._name, seed);
        }

    private:
        quint64 _number = 0; // of a new key; 0 for others
        QString _name;       // the identifier of other keys
    };

    VXActivity(const Key &key, const QString &title, QObject *delegate = nullptr);
    VXActivity(const VXActivity &) = delete;
    VXActivity &operator=(const VXActivity &) = delete;

    const Key &key() const { return _key; }
    /** Unique among the running activities. */
    QString identifier() const { return _key.identifier(); }

    /** The first and the second line to show; null if not set. */
    QString title() const;
    void setTitle(const QString &title);
    QString subtitle() const;
    void setSubtitle(const QString &subtitle);

    /** Progress so far, and the value at which the activity is complete; in a unit chosen by the owner. */
    double doubleValue() const { return _doubleValue.load(std::memory_order_relaxed); }
    void setDoubleValue(double value) { _doubleValue.store(value, std::memory_order_relaxed); }
    double maxValue() const { return _maxValue.load(std::memory_order_relaxed); }
    void setMaxValue(double value) { _maxValue.store(value, std::memory_order_relaxed); }
    /** Adds 1 to the value. For one updating thread: of two concurrent increments one may be lost. */
    void increment() { setDoubleValue(doubleValue() + 1.0); }

    /** The object responsible; not owned, null when gone or none. Cleared when the activity is removed from the
     *  registry. */
    QObject *delegate() const;
    void setDelegate(QObject *delegate);

private:
    const Key _key;
    std::atomic<double> _doubleValue{0.0};
    std::atomic<double> _maxValue{0.0};

    mutable VXMutex _lock;
    QPointer<QObject> _delegate VX_GUARDED_BY(_lock);
    QString _title VX_GUARDED_BY(_lock);
    QString _subtitle VX_GUARDED_BY(_lock);
};
