#include "cli/ScanReport.h"
#include "cli/TextWidth.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

RGFCoreScanDevice device(const QString &address, const QString &name = {}, const QString &services = {})
{
    RGFCoreScanDevice made;
    made.ipAddress = address;
    made.macAddress = QStringLiteral("00:11:32:00:77:14");
    made.deviceName = name;
    made.services = services;
    return made;
}

class ScanReport : public testing::Test
{
protected:
    ScanReport()
    {
        QFile list(folder.filePath(QStringLiteral("oui.csv")));
        if (list.open(QIODevice::WriteOnly))
            list.write("MA-L,001132,\"Northwind Storage, Inc\",x\n");
    }
    [[nodiscard]] QStringList table(const QList<RGFCoreScanDevice> &devices, int columns = 0) const
    {
        return scanTable(devices, vendors, columns).split(u'\n');
    }
    [[nodiscard]] QString csvLine(const RGFCoreScanDevice &shown) const { return scanCsv({shown}, vendors).section(u'\n', 1); }

    QTemporaryDir folder;
    VendorLookup vendors{folder.path()};
    const QString longServices = QStringLiteral("_ipp._tcp.,_ipps._tcp.,_printer._tcp.,_pdl-datastream._tcp.,_uscan._tcp.");
};

/// The column at which a text begins in a line, counted as a terminal does.
int startOf(const QString &line, const QString &text)
{
    const qsizetype at = line.indexOf(text);
    return at < 0 ? -1 : columnsOf(line.left(at));
}

TEST_F(ScanReport, APipeGetsEveryColumnWhole)
{
    RGFCoreScanDevice shown = device(QStringLiteral("192.168.1.20"), QStringLiteral("Office Printer"), longServices);
    shown.deviceType = QStringLiteral("Printer");
    shown.isPingable = true;
    EXPECT_EQ(table({shown}).join(u'\n').toStdString(),
        QStringList({"ADDRESS       MAC                NAME            TYPE     SERVICES                                   ANSWERS  VENDOR",
                        "192.168.1.20  00:11:32:00:77:14  Office Printer  Printer  ipp, ipps, printer, pdl-datastream, uscan  yes      Northwind "
                        "Storage, Inc",
                        "", "1 device on 192.168.1.x, 1 answers", ""})
            .join(u'\n')
            .toStdString());
}

TEST_F(ScanReport, WhatIsNotKnownIsADash)
{
    RGFCoreScanDevice bare;
    bare.ipAddress = QStringLiteral("192.168.1.20");
    EXPECT_EQ(table({bare}).at(1), "192.168.1.20  -    -     -     -         no       -");
}

TEST_F(ScanReport, TheColumnsLineUpWithWideAndCombiningLetters)
{
    QList<RGFCoreScanDevice> devices;
    for (const char *name : {"Plain", "日本語のプリンター", "Zoe\xcc\x88", "한글 TV", "📺"})
        devices.append(device(QStringLiteral("192.168.1.20"), QString::fromUtf8(name), QStringLiteral("_airplay._tcp.")));
    for (const int columns : {0, 80}) {
        const QStringList lines = table(devices, columns);
        for (qsizetype line = 1; line <= devices.size(); ++line)
            EXPECT_EQ(startOf(lines.at(line), QStringLiteral("airplay")), startOf(lines.at(0), QStringLiteral("SERVICES")))
                << lines.at(line).toStdString();
    }
}

TEST_F(ScanReport, NoLineIsWiderThanTheTerminal)
{
    const QList<RGFCoreScanDevice> devices = {device(QStringLiteral("192.168.100.200"), QStringLiteral("客厅的电视机和音响系统"), longServices),
        device(QStringLiteral("192.168.100.201"), QStringLiteral("x"))};
    for (int columns = 1; columns <= 200; ++columns) {
        for (const QString &line : table(devices, columns))
            ASSERT_LE(columnsOf(line), columns) << line.toStdString();
    }
}

TEST_F(ScanReport, ANarrowTerminalLosesTheVendorFirst)
{
    const QList<RGFCoreScanDevice> devices = {
        device(QStringLiteral("192.168.1.20"), QStringLiteral("Living Room"), QStringLiteral("_airplay._tcp."))};
    const int whole = columnsOf(table(devices).at(1));
    EXPECT_TRUE(table(devices, whole).first().contains(QLatin1String("VENDOR")));
    EXPECT_FALSE(table(devices, whole - 1).first().contains(QLatin1String("VENDOR")));
    EXPECT_TRUE(table(devices, whole - 1).at(1).contains(QLatin1String("Living Room")));
}

TEST_F(ScanReport, ThenServicesAreCutAndNamesLast)
{
    const QString name = QStringLiteral("Office Printer");
    const QStringList lines = table({device(QStringLiteral("192.168.100.200"), name, longServices)}, 80);
    EXPECT_EQ(lines.at(0).toStdString(), "ADDRESS          MAC                NAME            TYPE  SERVICES       ANSWERS");
    EXPECT_EQ(lines.at(1).toStdString(), "192.168.100.200  00:11:32:00:77:14  Office Printer  -     ipp, ipps, p…  no");
}

TEST_F(ScanReport, AVeryNarrowTerminalKeepsAddressesAndNames)
{
    const QStringList lines = table({device(QStringLiteral("192.168.1.20"), QStringLiteral("Office Printer"), longServices)}, 48);
    EXPECT_EQ(lines.at(1).toStdString(), "192.168.1.20  00:11:32:00:77:14  Office Printer");
}

TEST_F(ScanReport, WhatADroppedColumnLeavesGoesToTheNames)
{
    const QStringList lines = table({device(QStringLiteral("192.168.1.20"), QString(40, u'n'), longServices)}, 60);
    EXPECT_EQ(lines.at(0).section(u' ', -1), "ANSWERS");
    EXPECT_EQ(columnsOf(lines.at(0)), 60);
}

TEST_F(ScanReport, NamesCannotCommandTheTerminal)
{
    const QString text =
        scanTable({device(QStringLiteral("192.168.1.20"), QStringLiteral("\x1b[2Jtv\n\u202e"))}, vendors, 0, QStringLiteral("wi\x07 net"));
    EXPECT_TRUE(text.contains(QLatin1String("\\x1b[2Jtv\\n\\u202e")));
    EXPECT_TRUE(text.contains(QLatin1String("(wi\\x07 net)")));
    EXPECT_FALSE(text.contains(QChar(0x1b)) || text.contains(QChar(0x202e)) || text.contains(QChar(0x07)));
    EXPECT_EQ(text.count(u'\n'), 4);
}

TEST_F(ScanReport, TheLastLineCounts)
{
    RGFCoreScanDevice answering = device(QStringLiteral("192.168.77.5"));
    answering.isPingable = true;
    const QString network = QStringLiteral("Subnet 192.168.77.x");
    EXPECT_EQ(scanSummary({answering, answering, device(QStringLiteral("192.168.77.9"))}, network),
        "3 devices on 192.168.77.x (Subnet 192.168.77.x), 2 answer");
    EXPECT_EQ(scanSummary({answering, device(QStringLiteral("10.0.0.9"))}), "2 devices on 192.168.77.x, 10.0.0.x, 1 answers");
    EXPECT_EQ(scanTable({}, vendors, 80, QStringLiteral("Harbour")), "0 devices (Harbour)\n");
}

TEST_F(ScanReport, ServicesAreShortened)
{
    EXPECT_EQ(shortServices(QStringLiteral("_ipp._tcp.,_printer._tcp.")), "ipp, printer");
    EXPECT_EQ(shortServices(QStringLiteral("_sleep-proxy._udp,, ssh")), "sleep-proxy, ssh");
    EXPECT_EQ(shortServices({}), "");
}

TEST_F(ScanReport, TheOwnersWordForAVendorCountsMoreThanTheList)
{
    RGFCoreScanDevice own = device(QStringLiteral("192.168.1.20"));
    own.vendorInfo = QStringLiteral("Home-made");
    EXPECT_TRUE(table({own}).at(1).endsWith(QLatin1String("Home-made")));
    EXPECT_TRUE(csvLine(own).contains(QLatin1String("Home-made")));
}

TEST_F(ScanReport, CsvQuotesWhatNeedsIt)
{
    RGFCoreScanDevice shown =
        device(QStringLiteral("192.168.1.20"), QStringLiteral("The \"Den\", upstairs"), QStringLiteral("_ipp._tcp.,_http._tcp."));
    shown.dnsEntry = QStringLiteral("den.lan");
    EXPECT_EQ(scanCsv({shown}, vendors),
        "address,mac,name,type,services,answers,vendor,dns\n"
        "192.168.1.20,00:11:32:00:77:14,\"The \"\"Den\"\", upstairs\",,\"_ipp._tcp.,_http._tcp.\",no,\"Northwind Storage, Inc\",den.lan\n");
    EXPECT_EQ(scanCsv({}, vendors), "address,mac,name,type,services,answers,vendor,dns\n");
}

TEST_F(ScanReport, CsvNeverBeginsAFormula)
{
    for (const char *name : {"=1+1", "+1", "-1", "@SUM(A1)"})
        EXPECT_TRUE(csvLine(device({}, QString::fromLatin1(name))).contains(QStringLiteral(",'") + QString::fromLatin1(name) + u','));
    EXPECT_TRUE(csvLine(device({}, QStringLiteral("\t=1"))).contains(QLatin1String(",'\t=1,")));
    EXPECT_TRUE(csvLine(device({}, QStringLiteral("\r=1"))).contains(QLatin1String(",\"'\r=1\",")));
    EXPECT_TRUE(csvLine(device({}, QStringLiteral("=\"a\",b"))).contains(QLatin1String(",\"'=\"\"a\"\",b\",")));
    EXPECT_TRUE(csvLine(device({}, QStringLiteral("a=1"))).contains(QLatin1String(",a=1,")));
}

} // namespace
