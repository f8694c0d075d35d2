#include "VXDeviceURL.h"

#include "VXTesting.h"

using namespace Qt::StringLiterals;

TEST(VXDeviceURLTest, MakesURLsAndTakesThemApart)
{
    const std::tuple<QString, QString, QString, QString> cases[] = {
        {{}, u"p"_s, u"d"_s, u"vxdevice://localhost/p/d"_s},
        {u"h"_s, u"p"_s, {}, u"vxdevice://h/p"_s},
        {{}, u"org.Phone"_s, u"00:1A:7D"_s, u"vxdevice://localhost/org.Phone/00:1A:7D"_s},
        {{}, u"p"_s, u"/dev/tty 1"_s, u"vxdevice://localhost/p/%2Fdev%2Ftty%201"_s},
        {{}, u"p"_s, u"50%?#Käthe"_s, u"vxdevice://localhost/p/50%25%3F%23K%C3%A4the"_s},
    };
    for (const auto &[host, plugin, device, text] : cases) {
        const QUrl url = VXMakeDeviceURL(host, plugin, device);
        EXPECT_EQ(VXAbsoluteString(url), text);
        EXPECT_EQ(QUrl(text), url) << "as read from the list";
        EXPECT_EQ(VXDeviceURLComponent(url, 0), plugin);
        EXPECT_EQ(VXDeviceURLComponent(url, 1), device);
    }
    EXPECT_EQ(VXAbsoluteString(VXMakeDeviceURL(u"h"_s, {}, u"d"_s)), u"vxdevice://h/"_s);
    EXPECT_FALSE(VXMakeDeviceURL(u"no host"_s, u"p"_s, u"d"_s).isValid());
}

TEST(VXDeviceURLTest, ReducesToTheDevice)
{
    const auto reduced = [](const QString &url) { return VXAbsoluteString(VXGetDeviceURLFromURL(QUrl(url))); };
    EXPECT_EQ(reduced(u"vxdevice://localhost/p/d/messages/7?a=b#c"_s), u"vxdevice://localhost/p/d"_s);
    EXPECT_EQ(reduced(u"vxdevice://localhost/p/a%2Fb/c"_s), u"vxdevice://localhost/p/a%2Fb"_s);
    EXPECT_EQ(reduced(u"vxdevice://localhost/p/d/"_s), u"vxdevice://localhost/p/d"_s);
    EXPECT_EQ(reduced(u"vxdevice://localhost/p"_s), u"vxdevice://localhost/p"_s);
    EXPECT_EQ(reduced(u"other://h"_s), u"other://h/"_s);
    EXPECT_TRUE(VXGetDeviceURLFromURL(QUrl()).isEmpty());
    EXPECT_EQ(VXMakeDevicePreferenceKey(QUrl(u"vxdevice://h/org.p/d%201/x"_s), u"k"_s), u"org.p.d 1.k"_s);
}
