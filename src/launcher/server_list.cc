#include "launcher/server_list.h"

#include <algorithm>
#include <utility>

#include "platform/files/read_file.h"
#include "platform/text/unicode.h"
#include "platform/text/utf8.h"
#include "platform/user/user.h"
#include "util/lines.h"
#include "util/strings.h"

namespace quelto::launcher {
namespace {

constexpr std::int64_t defaultPort = 22;

/// Far larger than any list that a person or a program keeps. Without a limit a file could use up the memory.
constexpr std::size_t maximumListSize = std::size_t{16} << 20;
constexpr std::size_t maximumRecords = 1'000'000;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// Removes the first field from the line and returns it; empty when no field is left.
std::string_view takeField(std::string_view& line) {
  const std::size_t tab = line.find('\t');
  const std::string_view field = line.substr(0, tab);
  line.remove_prefix(tab == std::string_view::npos ? line.size() : tab + 1);
  return field;
}

std::string_view inLowerCase(std::string_view text, MadeTexts& made) {
  const std::string lowerCase = platform::lowercased(text);
  return lowerCase == text ? text : made.add(lowerCase);
}

std::string_view joinedByBars(std::string_view fields, MadeTexts& made) {
  if (fields.find('\t') == std::string_view::npos) return fields;
  std::string joined(fields);
  std::ranges::replace(joined, '\t', '|');
  return made.add(joined);
}

}  // namespace

std::string_view MadeTexts::add(std::string_view text) {
  auto* const copy = static_cast<char*>(memory_.allocate(text.size(), alignof(char)));
  std::ranges::copy(text, copy);
  return {copy, text.size()};
}

std::optional<SSHServer> SSHServer::fromId(std::string_view id, MadeTexts& made) {
  SSHServer server;
  const std::string_view host = util::trim(takeField(id));
  if (host.empty()) return std::nullopt;
  server.host = inLowerCase(host, made);
  server.port = util::decimalInteger(takeField(id)).value_or(defaultPort);
  server.username = util::trim(takeField(id));
  server.identify = util::trim(takeField(id));
  server.command = util::trim(takeField(id));
  server.parameters = joinedByBars(id, made);
  return server;
}

ServerList::ServerList(std::string text) : text_(std::move(text)) {
  std::string_view rest = text_;
  if (!platform::isValidUtf8(rest)) return;
  // Some editors put the mark first; it belongs to the encoding, not to the text (RFC 3629, section 6).
  if (rest.starts_with(byteOrderMark)) rest.remove_prefix(byteOrderMark.size());
  // Usually the number of records; growing step by step would copy all of them several times.
  const auto lines = static_cast<std::size_t>(std::ranges::count(rest, '\n')) + 1;
  records_.reserve(std::min(lines, maximumRecords));
  bool isTooLong = false;
  util::forEachLine(rest, [&](std::string_view line) {
    const auto server = isTooLong ? std::nullopt : SSHServer::fromId(line, made_);
    isTooLong = isTooLong || (server && records_.size() == maximumRecords);
    if (server && !isTooLong) records_.push_back(*server);
  });
  if (isTooLong) records_.clear();
}

ServerList loadSSHServers() {
  const auto home = platform::homeFolder();
  if (!home) return ServerList("");
  const std::string path = *home + "/" + std::string(settingsFile);
  auto text = platform::readTrustedFile(path, maximumListSize);
  return ServerList(text ? std::move(*text) : "");
}

}  // namespace quelto::launcher
