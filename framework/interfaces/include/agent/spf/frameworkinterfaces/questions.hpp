#pragma once

/// Requests that RPC publishers answer, and the keys of requests and answers.
namespace agent::spf::frameworkinterfaces::questions {

/// The key of the request's kind.
inline constexpr auto question = "question";

/// The kind of request for a publisher's ID and its services.
inline constexpr auto whatDoYouPublish = "whatDoYouPublish";

inline constexpr auto publisherID = "publisherID";
inline constexpr auto services = "services";
inline constexpr auto uniqueID = "uniqueID";
inline constexpr auto name = "name";

}  // namespace agent::spf::frameworkinterfaces::questions
