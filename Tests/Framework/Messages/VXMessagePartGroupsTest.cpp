#include "VXMessagePartGroups.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// "a1/2 60" is part 1 of 2 of the series a, a minute after the start; without a time it has no date.
TEST(VXMessagePartGroupsTest, PartsOfOneMessageAreNearEachOther)
{
    const QDateTime start(QDate(2026, 3, 1), QTime(10, 0), Qt::UTC);
    const std::pair<QString, QString> cases[] = {
        {u"a1/2 0, a2/2 1"_s, u"0 1"_s},
        {u"a2/2 1, a1/2 0"_s, u"1 0"_s},
        {u"a3/3 2, a1/3 0, b2/3 1, a2/3 1"_s, u"1 3 0, 2"_s},
        {u"a1/2 0, a1/2 90, a2/2 91"_s, u"0, 1 2"_s},         // the second of the first was lost
        {u"a1/2 0, a2/2 86400, a1/2 86399"_s, u"0, 2 1"_s},   // and came in whatever order
        {u"a1/3 0, a2/3 1, a3/3 7200"_s, u"0 1, 2"_s},        // too late
        {u"a1/2 0, a1/2 5, a2/2 6, a2/2 1"_s, u"0 3, 1 2"_s}, // one after the other, by their dates
        {u"a1/2, a2/2, a1/2, a2/2"_s, u"0 1, 2 3"_s},         // without dates, as they stand
        {u"a1/2, a1/2, a2/2"_s, u"0, 1 2"_s},                 //
        {u"a1/2 0, a2/2"_s, u"0 1"_s},                        // of what is not known nothing speaks against it
        {u"a1/2 0, a1/2 0"_s, u"0, 1"_s},                     // the same twice is two
        {u"a1/2 0, a2/2 0, a1/2 0, a2/2 0"_s, u"0 1, 2 3"_s}, // in one second
    };
    for (const auto &[list, expected] : cases) {
        QList<VXMessagePartPlace> parts;
        for (const QString &each : list.split(u", "_s)) {
            const QString time = each.section(u' ', 1);
            parts.append({.series = each.left(1),
                          .number = each.mid(1, 1).toInt(),
                          .count = each.mid(3, 1).toInt(),
                          .date = time.isEmpty() ? QDateTime() : start.addSecs(time.toInt())});
        }
        QStringList groups;
        for (const QList<qsizetype> &group : VXMessagePartGroups::of(parts)) {
            QStringList places;
            for (const qsizetype at : group)
                places.append(QString::number(at));
            groups.append(places.join(u' '));
        }
        EXPECT_EQ(groups.join(u", "_s), expected) << list.toStdString();
    }
}
