#pragma once

// The version of the binary contract between hosts and plug-ins. docs/host.md says what changes which number.
// contract.json tells it in the metadata of a plug-in's file:
//   Q_PLUGIN_METADATA(IID "org.mdcbench.<class>" FILE "lib_plugins_management/contract.json")
// A host refuses a file that tells of another one, before any of its code has run; one that tells nothing is
// taken as it is.
namespace contract_version {

// A plug-in runs in a host of the same number only.
constexpr int c_breaking = 1;
// A host may have a higher one than the plug-in was built against, not a lower one.
// 1.1 has not been released yet, so it still changes as if nobody had built against it: DAbstractCommand has
// become smaller, since the clones of a command share what it declares. What was built against an earlier
// state of 1.1 has to be built anew; from its release on such a change raises c_breaking.
constexpr int c_compatible = 1;

// The entry of the metadata: "1.1".
constexpr char c_contract[] = "contract";

} // namespace contract_version
