#include "platform/dialog/question_watch.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/files/descriptor_io.h"
#include "platform/files/unique_fd.h"

namespace quelto::platform {
namespace {

/// Readable from the moment that questions are abandoned. Never closed.
int abandonment() {
  static const auto* const event = new UniqueFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  return event->get();
}

}  // namespace

void abandonQuestions() { ::eventfd_write(abandonment(), 1); }

bool areQuestionsAbandoned() {
  pollfd request{.fd = abandonment(), .events = POLLIN, .revents = 0};
  return platform::pollUntil({&request, 1}, Deadline(std::chrono::milliseconds::zero()));
}

bool QuestionWatch::pollUntil(std::span<pollfd> requests, const Deadline& deadline) {
  for (;;) {
    std::vector<pollfd> all(requests.begin(), requests.end());
    all.push_back({.fd = abandonment(), .events = POLLIN, .revents = 0});
    caller_.addTo(all);
    if (!platform::pollUntil(all, deadline)) return false;
    const auto ours = std::span(all).first(requests.size());
    const auto watched = std::span(all).subspan(requests.size());
    if (watched.front().revents != 0 || caller_.isGone(watched.subspan(1))) return false;
    std::ranges::copy(ours, requests.begin());
    if (std::ranges::any_of(ours, [](const pollfd& request) { return request.revents != 0; })) return true;
  }
}

}  // namespace quelto::platform
