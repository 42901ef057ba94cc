#pragma once

/// The framework properties that say who this process is to its peers, and whom it talks to.
///
/// The first three are set together or not at all. With them, connections by `tcp` are encrypted and authenticated on
/// both sides.
namespace agent::spf::frameworkinterfaces {

/// The name that peers know this process's key by (text).
inline constexpr auto curveNameProperty = "spf.curve.name";

/// The file of this process's secret key (text).
inline constexpr auto curveSecretKeyProperty = "spf.curve.secret_key";

/// The folder of the public keys that are trusted, a file `NAME.pub` for each (text).
inline constexpr auto curveTrustProperty = "spf.curve.trust";

/// Which peers may ask which publisher: a map of publishers' IDs to lists of names of keys. A publisher without an
/// entry answers every peer that is let in.
inline constexpr auto curveAllowProperty = "spf.curve.allow";

}  // namespace agent::spf::frameworkinterfaces
