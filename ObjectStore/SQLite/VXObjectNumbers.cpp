#include "VXObjectNumbers.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool isBefore(const VXManagedObjectID &a, const VXManagedObjectID &b)
{
    return a.number() < b.number();
}

} // namespace

VXObjectNumbers::VXObjectNumbers(const QList<VXManagedObjectID> &objectIDs, int others)
{
    const auto [least, greatest] = std::minmax_element(objectIDs.cbegin(), objectIDs.cend(), isBefore);
    _first = least->number();
    _last = greatest->number();
    const quint64 count = quint64(objectIDs.size());
    const quint64 width = quint64(_last) - quint64(_first);
    _isRange = width < count * quint64(1 + others);
    if (_isRange) {
        _byNumber.resize(size_t(width) + 1);
        for (const VXManagedObjectID &objectID : objectIDs) {
            const VXManagedObjectID *&place = _byNumber[size_t(objectID.number() - _first)];
            place = place == nullptr ? &objectID : place;
        }
        return;
    }
    _byNumber.reserve(size_t(count));
    for (const VXManagedObjectID &objectID : objectIDs)
        _byNumber.push_back(&objectID);
    std::stable_sort(_byNumber.begin(), _byNumber.end(),
                     [](const VXManagedObjectID *a, const VXManagedObjectID *b) { return isBefore(*a, *b); });
    _list = list(objectIDs);
}

QString VXObjectNumbers::wanted() const
{
    return isOne() ? u"= ?1"_s : _isRange ? u"BETWEEN ?1 AND ?2"_s : u"IN (SELECT value FROM json_each(?1))"_s;
}

void VXObjectNumbers::bind(VXSQLiteStatement &statement) const
{
    if (!_isRange) {
        statement.bindText(1, _list);
        return;
    }
    statement.bindNumber(1, _first);
    if (!isOne())
        statement.bindNumber(2, _last);
}

const VXManagedObjectID *VXObjectNumbers::find(qint64 number) const
{
    if (number < _first || number > _last)
        return nullptr;
    if (_isRange)
        return _byNumber[size_t(number - _first)];
    const auto found =
        std::lower_bound(_byNumber.cbegin(), _byNumber.cend(), number,
                         [](const VXManagedObjectID *each, qint64 value) { return each->number() < value; });
    return found != _byNumber.cend() && (*found)->number() == number ? *found : nullptr;
}

QString VXObjectNumbers::list(const QList<VXManagedObjectID> &objectIDs)
{
    QString numbers = u"["_s;
    for (const VXManagedObjectID &objectID : objectIDs) {
        if (numbers.size() > 1)
            numbers += u',';
        numbers += QString::number(objectID.number());
    }
    return numbers + u']';
}
