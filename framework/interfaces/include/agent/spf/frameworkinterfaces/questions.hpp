#pragma once

/// Requests that RPC publishers answer, and the keys of requests and answers.
namespace agent::spf::frameworkinterfaces::questions {

/// The key of the request's kind.
inline constexpr auto question = "question";

/// The kind of request for a publisher's ID and its services.
inline constexpr auto whatDoYouPublish = "whatDoYouPublish";

inline constexpr auto publisherID = "publisherID";  ///< of an answer: the ID of the publisher
inline constexpr auto services = "services";        ///< of an answer: the list of its services
inline constexpr auto uniqueID = "uniqueID";        ///< of a service: its ID
inline constexpr auto name = "name";                ///< of a service: the name of its interface

}  // namespace agent::spf::frameworkinterfaces::questions
