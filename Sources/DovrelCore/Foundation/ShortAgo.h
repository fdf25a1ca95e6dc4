#pragma once

#include <string>

// How long ago something happened, in the few characters a list row has room for. Named after the people
// screen that shows it first; the coach's tools and the group screens use the same words.
namespace dovrel::PeopleView {

// "just now" below an hour, then "{n}h ago", "{n}d ago", "{n}w ago" (weeks of 7 days, below 35 days) and
// "{n}mo ago" (months of 30 days), each {n} cut towards zero. A negative age is "just now".
std::string shortAgo(double secondsAgo);

} // namespace dovrel::PeopleView
