#pragma once

#include "cli/VendorLookup.h"
#include "scan/RGFCoreScanDevice.h"

#include <QList>
#include <QString>

namespace lanterna
{

/// The devices as a table for people, in the order given: address, MAC, name, type, services, answers, vendor, and a last line from `scanSummary`.
///
/// `columns` is the terminal's width. When the table is wider, the vendor goes first, then services and, last, names are cut; on very narrow
/// terminals services, type and answers go too. 0 stands for no terminal: nothing is cut. `network` is the key under which the scan is filed, empty
/// for none. Nothing in a device's texts can command a terminal, see `harmless`.
QString scanTable(const QList<RGFCoreScanDevice> &devices, const VendorLookup &vendors, int columns, const QString &network = {});

/// "13 devices on 192.168.77.x (Harbour), 9 answer": how many there are, their networks (the first three octets), and how many passed the TCP test.
QString scanSummary(const QList<RGFCoreScanDevice> &devices, const QString &network = {});

/// The devices as comma-separated values: a header "address,mac,name,type,services,answers,vendor,dns", then a line for each, ended by "\n".
///
/// Cells with a comma, quotation mark or line end are quoted as in RFC 4180; what is not known is empty; services are whole ("_ipp._tcp."), joined by
/// ","; answers are "yes" and "no". A cell that begins with = + - @, a tab or a carriage return gets an apostrophe in front: spreadsheets would
/// otherwise run as a formula what any device in the network may choose as its name.
QString scanCsv(const QList<RGFCoreScanDevice> &devices, const VendorLookup &vendors);

/// "_ipp._tcp.,_printer._tcp." as people read it: "ipp, printer".
QString shortServices(const QString &services);

} // namespace lanterna
