#pragma once

// Qt properties by which a plug-in kind describes itself to a host. They are optional, are read from the
// kind's root object through its meta object, and so need no place in the contract's tables.
namespace plugin_description {

// QByteArray: the JSON schema (draft 7, UTF-8) of the "configuration" of each object of this kind.
// References stay within it. A place's "description" says what is allowed there, in words that follow
// "needed is".
constexpr char c_configurationSchema[] = "configurationSchema";

// QVariantMap, of drivers; its entries follow. docs/driver-contract.md says what a host does with them.
constexpr char c_driverDescription[] = "driverDescription";

// Lists of texts.
constexpr char c_readableRegisterTypes[] = "readableRegisterTypes";
constexpr char c_writableRegisterTypes[] = "writableRegisterTypes";
// Maps: how members of an object's "configuration" point its link to a TCP port or to a serial device.
// "set" is a map of members and their values; the others are names of members.
constexpr char c_tcpLink[] = "tcpLink";
constexpr char c_serialLink[] = "serialLink";
constexpr char c_set[] = "set";
constexpr char c_host[] = "host";
constexpr char c_port[] = "port";
constexpr char c_device[] = "device";
// Names of members: the unit that the link speaks to, what it adds to each register before it goes on the
// wire, the file to which it appends its frames, and the new file to which it records them.
constexpr char c_unit[] = "unit";
constexpr char c_addressOffset[] = "addressOffset";
constexpr char c_frameTrace[] = "frameTrace";
constexpr char c_frameRecord[] = "frameRecord";

} // namespace plugin_description
