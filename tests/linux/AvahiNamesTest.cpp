#include "platform/linux/AvahiNames.h"

#include <gtest/gtest.h>

#include <QHostAddress>

using namespace lanterna;

namespace
{

std::optional<QString> addressText(const char *address)
{
    return hostAddressText(QHostAddress(QString::fromLatin1(address)).toIPv4Address());
}

} // namespace

TEST(AvahiNames, DotAtTheEndIsThePortsNotAvahis)
{
    EXPECT_EQ(nameForAvahi("_ipp._tcp."), "_ipp._tcp");
    EXPECT_EQ(nameForAvahi("_ipp._tcp"), "_ipp._tcp");
    EXPECT_EQ(withTrailingDot("local"), "local.");
    EXPECT_EQ(withTrailingDot("local."), "local.");
}

TEST(AvahiNames, NameWithNulIsRefused)
{
    EXPECT_EQ(nameForAvahi(QString("Printer") + QChar(0) + "_http._tcp."), std::nullopt);
}

TEST(AvahiNames, CapitalsAndTheLastDotMakeNoDifference)
{
    EXPECT_TRUE(isSameName("_IPP._tcp", "_ipp._TCP."));
    EXPECT_FALSE(isSameName("_ipp._tcp", "_ipps._tcp"));
    EXPECT_FALSE(isSameName("_ipp._tcp", ""));
}

TEST(AvahiNames, HostNameIsUnescaped)
{
    EXPECT_EQ(hostNameFromAvahi("printer.local"), "printer.local.");
    EXPECT_EQ(hostNameFromAvahi("my\\032host.local"), "my host.local.");
    EXPECT_EQ(hostNameFromAvahi("a\\.b\\\\c.local"), "a.b\\c.local.");
    EXPECT_EQ(hostNameFromAvahi("k\\195\\188che.local"),
        QString::fromUtf8("k\xc3\xbc"
                          "che.local."));
    EXPECT_EQ(hostNameFromAvahi("bell\\007.local"), QString("bell\x07.local."));
}

TEST(AvahiNames, WrongEscapesAreNoHostName)
{
    for (const char *escaped : {"host\\", "host\\1", "host\\12", "host\\12x", "host\\256", "host\\000", "host\\x41", ""})
        EXPECT_EQ(hostNameFromAvahi(escaped), std::nullopt) << escaped;
    EXPECT_EQ(hostNameFromAvahi(QByteArrayView("a\0b", 3)), std::nullopt);
    EXPECT_EQ(hostNameFromAvahi("."), std::nullopt);
}

TEST(AvahiNames, BytesThatAreNoTextAreReplaced)
{
    EXPECT_EQ(hostNameFromAvahi("\\255\\254.local"), QString(QChar(0xfffd)) + QChar(0xfffd) + ".local.");
}

TEST(AvahiNames, HostNameIsBounded)
{
    const QByteArray longest = QByteArray(longestHostName - 6, 'a') + ".local";
    EXPECT_EQ(hostNameFromAvahi(longest), QString::fromLatin1(longest) + ".");
    EXPECT_EQ(hostNameFromAvahi("a" + longest), std::nullopt);
    // Each of these bytes becomes three.
    EXPECT_EQ(hostNameFromAvahi(QByteArray("\\255").repeated(100)), std::nullopt);
}

TEST(AvahiNames, AddressesThatNoHostHasAreDropped)
{
    for (const char *address : {"0.0.0.0", "0.1.2.3", "127.0.0.1", "127.255.0.1", "224.0.0.251", "239.255.255.250", "240.0.0.1", "255.255.255.255"})
        EXPECT_EQ(addressText(address), std::nullopt) << address;
    for (const char *address : {"192.168.1.20", "10.0.0.1", "169.254.7.7", "223.255.255.254", "1.0.0.1"})
        EXPECT_EQ(addressText(address), address);
}

TEST(AvahiNames, HostIsAnnouncedByTheFirstLabelOfItsName)
{
    EXPECT_EQ(announcedHostLabel("Hall-PC_2"), "Hall-PC_2");
    EXPECT_EQ(announcedHostLabel("hall.example.com"), "hall");
    EXPECT_EQ(announcedHostLabel(QByteArray(63, 'a')), QByteArray(63, 'a'));
}

TEST(AvahiNames, HostWithoutAUsableNameIsAnnouncedByTheProgramsName)
{
    for (const QByteArray &name : {QByteArray(), QByteArray(".local"), QByteArray("localhost.localdomain"), QByteArray("LOCALHOST"),
             QByteArray(64, 'a'), QByteArray("a\\b"), QByteArray("a b"), QByteArray("k\xc3\xbc"), QByteArray("a\0b", 3)})
        EXPECT_EQ(announcedHostLabel(name), "lanterna") << name.constData();
}

TEST(ServiceTexts, EntriesAreKeysAndValuesOfAnyBytes)
{
    EXPECT_EQ(textEntries({{"rev", "7"}, {"b", QByteArray("\0=\xff", 3)}, {"empty", ""}}),
        QList<QByteArray>({QByteArray("b=\0=\xff", 5), "empty=", "rev=7"}));
    EXPECT_TRUE(textEntries({}).isEmpty());
}

TEST(ServiceTexts, EntriesOverTwoHundredAndFiftyFiveBytesAreLeftOut)
{
    const QByteArray longest(255 - 2, 'x');
    EXPECT_EQ(textEntries({{"a", longest + 'x'}, {"b", longest}}), QList<QByteArray>({"b=" + longest}));
}

TEST(ServiceTexts, KeysThatAreNoneAreLeftOut)
{
    EXPECT_EQ(textEntries({{"", "1"}, {"a=b", "1"}, {"a\n", "1"}, {"\xc3\xa4", "1"}, {"a b", "1"}}), QList<QByteArray>({"a b=1"}));
}

TEST(ServiceTexts, RecordHoldsThirteenHundredBytes)
{
    ServiceText text;
    for (char key = 'a'; key <= 'z'; ++key)
        text.insert(QByteArray(1, key), QByteArray(97, 'x')); // 100 bytes each, with its length
    EXPECT_EQ(textEntries(text).size(), 13);
}

TEST(ToldServices, EachServiceIsNewOncePerSearchAndInterface)
{
    ToldServices told;
    EXPECT_TRUE(told.add(1, "Printer", 2));
    EXPECT_FALSE(told.add(1, "Printer", 2));
    EXPECT_TRUE(told.add(1, "Printer", 3));
    EXPECT_TRUE(told.add(1, "printer", 2));
    EXPECT_TRUE(told.add(2, "Printer", 2));
    told.endSearch(1);
    EXPECT_TRUE(told.add(1, "Printer", 2));
    EXPECT_FALSE(told.add(2, "Printer", 2));
}

TEST(ToldServices, ThereIsAnEndToTheirNumberInASearch)
{
    ToldServices told;
    for (qsizetype number = 0; number < mostServicesPerSearch; ++number)
        ASSERT_TRUE(told.add(1, QString::number(number), 2));
    EXPECT_FALSE(told.add(1, "one more", 2));
    EXPECT_TRUE(told.add(2, "one more", 2));
}

TEST(ToldServices, ThereIsAnEndToTheirNumberInAPass)
{
    ToldServices told;
    for (qsizetype number = 0; number < mostServicesPerPass; ++number)
        ASSERT_TRUE(told.add(quint64(number % 24), QString::number(number), 2));
    EXPECT_FALSE(told.add(24, "one more", 2));
    told.endSearch(1);
    EXPECT_FALSE(told.add(24, "one more", 2)); // what has ended counts, too
    told.beginPass();
    EXPECT_TRUE(told.add(24, "one more", 2));
}
