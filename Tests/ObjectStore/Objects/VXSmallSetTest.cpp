#include "VXSmallSet.h"
#include "VXTesting.h"

#include <QtCore/QRandomGenerator>

// As a QSet answers, with few members and with many.
TEST(VXSmallSetTest, HoldsWhatASetHolds)
{
    QRandomGenerator random(1);
    for (const int largest : {3, 9, 40}) {
        VXSmallSet<int> small;
        QSet<int> wanted;
        for (int change = 0; change < 2000; ++change) {
            const int member = random.bounded(largest);
            switch (random.bounded(30)) {
            case 0:
                small.removeIf([&](int each) { return each > member; });
                wanted.removeIf([&](int each) { return each > member; });
                break;
            case 1:
                if (member == 0) {
                    small.clear();
                    wanted.clear();
                }
                break;
            default:
                if (random.bounded(3) == 0 && !wanted.contains(member)) {
                    small.insertNew(member);
                    wanted.insert(member);
                } else if (random.bounded(3) == 0) {
                    EXPECT_EQ(small.remove(member), wanted.remove(member));
                } else {
                    EXPECT_EQ(small.insert(member), !wanted.contains(member));
                    wanted.insert(member);
                }
            }
            const QList<int> values = small.values();
            ASSERT_EQ(QSet<int>(values.cbegin(), values.cend()), wanted);
            ASSERT_EQ(small.size(), wanted.size());
            ASSERT_EQ(values.size(), wanted.size());
            ASSERT_EQ(small.isEmpty(), wanted.isEmpty());
            if (change % 10 == 0) { // between them it grows unsearched
                ASSERT_EQ(small.contains(member), wanted.contains(member));
            }
        }
    }
}
