#include "VXSQLiteStore.h"

#include <QtCore/QScopeGuard>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

// An index has texts in the order of their bytes in UTF-16LE, which is not that of texts ("VXTEXT"). But texts with the same first
// unit lie side by side in both: for the first rows only those of the first units are sorted, and not the whole table.

using Step = VXSQLiteStatement::Step;

namespace {

constexpr qsizetype mostRows = 20'000;

/** Hands out rows that are known already. */
class KnownRows final : public VXRowCursor
{
public:
    explicit KnownRows(QList<VXFetchedRow> rows) : VXRowCursor(true), _rows(std::move(rows)) {}

    Step next(VXFetchedRow *row, VXError *) override
    {
        if (_next == _rows.size())
            return Step::End;
        *row = std::move(_rows[_next++]);
        return Step::Row;
    }

private:
    QList<VXFetchedRow> _rows;
    qsizetype _next = 0;
};

// The text by whose index a few rows of a whole table are wanted; null for other requests.
const VXAttributeDescription *wantedOrder(const VXFetchRequest &request)
{
    const QList<VXSortDescriptor> &order = request.sortDescriptors;
    if (order.size() != 1 || !order.constFirst().isAscending || order.constFirst().options || request.afterNumber > 0 ||
        request.limit <= 0 || request.limit > mostRows - request.offset ||
        request.predicate.kind() != VXPredicate::Kind::True || request.entity().rootEntity().family().size() > 1)
        return nullptr;
    const VXAttributeDescription *const text = request.entity().attributeForName(order.constFirst().key);
    const bool isIndexedText = text != nullptr && text->type() == VXAttributeType::String && text->isIndexed() &&
                               VXSQLiteSchema::hasColumn(*text);
    return isIndexedText ? text : nullptr;
}

/** Texts that lie side by side in an index: the empty one, or those with one first unit. */
struct Span
{
    QString first;
    QString behind; // the first text behind them, in the order of bytes; null at the end

    static Span with(QStringView text)
    {
        if (text.isEmpty())
            return {u""_s, QString(QChar(u'\0'))};
        const char16_t unit = text.front().unicode();
        const auto next = char16_t(unit >= 0xFF00 ? (unit & 0xFF) + 1 : unit + 0x100);
        return {QString(QChar(unit)), unit == 0xFFFF ? QString() : QString(QChar(next))};
    }
};

} // namespace

/** Finds the first rows by the index of a text, on one connection. */
class VXSQLiteStore::RowsInOrder
{
public:
    RowsInOrder(const VXSQLiteStore &store, const VXFetchRequest &request, const VXAttributeDescription &text,
                VXSQLiteConnection &connection)
        : _store(store), _request(request), _connection(connection), _column(VXSQLiteSchema::column(text)),
          _table(VXSQLiteSchema::table(request.entity()))
    {
    }

    /** None on failure. */
    std::optional<QList<VXFetchedRow>> find()
    {
        const std::optional<QList<Span>> spans = findSpans();
        bool isDone = spans && add(u"t0.%1 IS NULL"_s.arg(_column), u"t0.Z_PK"_s, {});
        const QString order = u"t0.%1 COLLATE VXTEXT, t0.Z_PK"_s.arg(_column);
        for (qsizetype at = 0; isDone && at < spans->size(); ++at) {
            const Span &span = spans->at(at);
            const QString end = span.behind.isNull() ? u"X''"_s : u"?3"_s;
            isDone = add(u"t0.%1 >= ?2 AND t0.%1 < %2"_s.arg(_column, end), order, span);
        }
        if (!isDone ||
            !add(u"t0.%1 >= X''"_s.arg(_column), order, {})) // data, which another program may have put there
            return std::nullopt;
        return _found.mid(std::min(_request.offset, _found.size()));
    }

private:
    qsizetype room() const { return _request.offset + _request.limit - _found.size(); }

    // In the order of texts, whose first unit decides before all else. All texts are less than any data.
    std::optional<QList<Span>> findSpans()
    {
        VXSQLiteStatement statement = _connection.statement(
            u"SELECT t0.%1 FROM %2 t0 WHERE t0.%1 >= ?1 AND t0.%1 < X'' ORDER BY t0.%1 LIMIT 1"_s.arg(_column, _table),
            nullptr);
        QList<Span> spans;
        for (QString from = u""_s; statement && !from.isNull(); from = spans.constLast().behind) {
            statement.bindText(1, from);
            const Step at = statement.step();
            if (at == Step::Done)
                break;
            if (at == Step::Failed)
                return std::nullopt;
            const QStringView text = statement.value(0).text();
            if (text.isEmpty() && !from.isEmpty()) // half a unit, as in a damaged file: the search would begin again
                return std::nullopt;
            spans.append(Span::with(text));
            statement.reset();
        }
        if (!statement)
            return std::nullopt;
        std::ranges::sort(spans, {}, &Span::first);
        return spans;
    }

    bool add(const QString &condition, const QString &order, const Span &span)
    {
        if (room() == 0)
            return true;
        // All are of one entity: to read it from the table would take longer than all else.
        const QString sql = u"SELECT t0.Z_PK, %1 FROM %2 t0 WHERE %3 ORDER BY %4 LIMIT ?1"_s.arg(
            QString::number(_store._schema.entityNumber(_request.entity())), _table, condition, order);
        VXSQLiteStatement statement = _connection.statement(sql, nullptr);
        if (!statement)
            return false;
        statement.bindNumber(1, room());
        if (!span.first.isNull())
            statement.bindText(2, span.first);
        if (!span.behind.isNull())
            statement.bindText(3, span.behind);
        VXFetchedRow row;
        Step at = statement.step();
        for (; at == Step::Row; at = statement.step()) {
            if (!_store.readFetched(_store.layout(_request.entity()), statement, nullptr, &row, nullptr))
                return false;
            _found.append(std::move(row));
        }
        return at == Step::Done;
    }

    const VXSQLiteStore &_store;
    const VXFetchRequest &_request;
    VXSQLiteConnection &_connection;
    const QString _column;
    const QString _table;
    QList<VXFetchedRow> _found;
};

std::unique_ptr<VXRowCursor> VXSQLiteStore::firstInOrder(const VXFetchRequest &request)
{
    const VXAttributeDescription *const text = wantedOrder(request);
    const VXSQLiteConnectionPool::Lease connection =
        text != nullptr ? _readers.borrow(nullptr) : VXSQLiteConnectionPool::Lease();
    if (!connection || !connection->execute(u"BEGIN"_s, nullptr)) // so that all its statements see the same
        return nullptr;
    const auto end = qScopeGuard([&] { static_cast<void>(connection->execute(u"COMMIT"_s, nullptr)); });
    auto rows = RowsInOrder(*this, request, *text, *connection).find();
    return rows ? std::make_unique<KnownRows>(*std::move(rows)) : nullptr;
}
