#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtGlobal>

#include <optional>

// Which controller the simulator pretends to be.
struct ControllerProfile
{
    // How the identification block is laid out; the value is its length in bytes.
    enum class Layout { Bytes12 = 12, Bytes13 = 13, Bytes17 = 17 };

    QString name;        // as given on the command line, "mdc32-gen2"
    QString description; // one line for help texts
    Layout layout = Layout::Bytes13;
    quint16 family = 0;   // word 2 of the block
    quint16 toolCode = 0; // word 4 of the block
    quint16 firmware = 0; // word 6 of the block; above 3999 means generation 2
    // Byte 10: a serial byte, and in the 17-byte layout the family too (1 "MD", 10 "BM").
    quint8 familyByte = 0;
    QString reference; // what a device object's "reference" must be for its tool table ("MDC", "MDTC", "BM")

    int generation() const { return firmware > 3999 ? 2 : 1; }
    // Generation 1 comes in two register layouts, which differ in where the screen lock is; the first
    // one is that of firmware 1.x and of every BM.
    bool hasFirstRegisterLayout() const;
    // "MDC-32 generation 2"
    QString title() const;
    // What the controller answers to Report Server ID behind the byte count: 12, 13 or 17 bytes,
    // words low byte first, a fixed serial number.
    QByteArray identificationBlock() const;

    // Every bundled profile: the MDC-22, MDC-26, MDC-32 and BM families, generation 1 in both
    // register layouts (firmware 1.x and later) and generation 2.
    static QList<ControllerProfile> all();
    static std::optional<ControllerProfile> byName(const QString& name);
};
