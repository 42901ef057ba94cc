#pragma once

/// The requests that RPC publishers answer, and the keys of requests and answers.
namespace agent::spf::frameworkinterfaces::questions {

/// Key of a request's map; its value says what is asked.
inline constexpr auto question = "question";

/// Asks for the publisher's ID and its services.
inline constexpr auto whatDoYouPublish = "whatDoYouPublish";

inline constexpr auto publisherID = "publisherID";
inline constexpr auto services = "services";
inline constexpr auto uniqueID = "uniqueID";
inline constexpr auto name = "name";

}  // namespace agent::spf::frameworkinterfaces::questions
