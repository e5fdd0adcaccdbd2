#pragma once

// Qt properties by which a plug-in kind describes itself to a host. They are optional, are read from the
// kind's root object through its meta object, and so need no place in the contract's tables.
namespace plugin_description {

// QByteArray: the JSON schema (draft 7, UTF-8) of the "configuration" of each object of this kind.
// References stay within it. A place's "description" says what is allowed there, in words that follow
// "needed is".
constexpr char c_configurationSchema[] = "configurationSchema";

} // namespace plugin_description
