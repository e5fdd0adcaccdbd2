#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtGlobal>

#include <optional>

// Which controller the simulator pretends to be.
struct ControllerProfile
{
    // How the identification block is laid out; the value is its length in bytes. No host knows a block
    // of 8 bytes.
    enum class Layout { Bytes8 = 8, Bytes12 = 12, Bytes13 = 13, Bytes17 = 17 };

    QString name;        // as given on the command line, "mdc32-gen2"
    QString description; // one line for help texts
    Layout layout = Layout::Bytes13;
    quint16 family = 0;   // word 2 of the block
    quint16 toolCode = 0; // word 4 of the block
    quint16 firmware = 0; // word 6 of the block; above 3999 means generation 2
    // Byte 10: a serial byte, and in the 17-byte layout the family too (1 "MD", 10 "BM").
    quint8 familyByte = 0;
    QString reference; // what a device object's "reference" must be for its tool table ("MDC", "MDTC", "BM")
    QString model;     // what a host makes of the block: "MDC-32", "????" when it knows no such controller

    int generation() const { return firmware > 3999 ? 2 : 1; }
    // Firmware 1.x, as far as a host can read it.
    bool hasFirstFirmware() const;
    // What the names of the generation's channels end with: "V2", nothing in generation 1.
    QString channelSuffix() const;
    // Generation 1 comes in two register layouts, which differ in where the screen lock is; the first
    // one is that of firmware 1.x and of every BM.
    bool hasFirstRegisterLayout() const;
    // The firmware as a host reads it from the block, "4.01.2"; empty when the block cannot be read.
    QString version() const;
    // Under which name a host's configuration keeps what holds for this model: "MDgen1V1", "MDgen2", or
    // the model itself.
    QString configurationName() const;
    // "MDC-32 generation 2"
    QString title() const;
    // What the controller answers to Report Server ID behind the byte count: as many bytes as the layout
    // has, words low byte first, a fixed serial number.
    QByteArray identificationBlock() const;

    // Every bundled profile: the MDC-22, MDC-26, MDC-32 and BM families, generation 1 in both
    // register layouts (firmware 1.x and later) and generation 2; and controllers that hosts do not know.
    static QList<ControllerProfile> all();
    static std::optional<ControllerProfile> byName(const QString& name);
};
