#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <ctime>

#include "crash/socket_server.h"
#include "platform/files/folder_lock.h"
#include "platform/run_loop/run_loop.h"
#include "tests/support/new_process.h"
#include "tests/support/temporary_folder.h"

namespace quelto::crash {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using platform::Deadline;
using platform::RunLoop;
using platform::UniqueFd;
using testing::ElementsAre;

const std::string archive = test::contentOf(KEYED_ARCHIVES "/plain");

/// Notes every call in one list, and may do something at one of them.
class Recorder final : public SocketClientDelegate, public SocketServerDelegate {
 public:
  std::vector<std::string> calls;
  std::string awaited;
  std::function<void()> then;

  [[nodiscard]] std::vector<std::string> taken() { return std::exchange(calls, {}); }

  void stateChanged(SocketClient& client, SocketClientStatus newState) override {
    EXPECT_EQ(client.state(), newState);
    constexpr const char* names[] = {"unknown", "linked", "disconnected", "linking", "disconnecting"};
    note(names[static_cast<int>(newState)]);
  }
  void disconnect(SocketClient&) override { note("disconnect"); }
  void dataReceived(SocketClient&, std::string_view data) override { note("data " + std::string(data)); }
  void textReceived(SocketClient&, const std::string& text) override { note("text " + text); }
  void clientsChanged(SocketServer&, std::size_t count) override { note("clients " + std::to_string(count)); }
  void dataReceived(SocketServer&, std::string_view data, SocketClient&) override {
    note("server data " + std::string(data));
  }
  void textReceived(SocketServer&, const std::string& text, SocketClient&) override {
    note("server text " + text);
  }
  void clientEnded(SocketServer& server, SocketClient&) override {
    note("ended, left " + std::to_string(server.clients().size()));
  }

 private:
  void note(const std::string& call) {
    calls.push_back(call);
    if (call == awaited) then();
  }
};

class Sockets : public testing::Test {
 protected:
  test::TemporaryFolder folder;
  std::string path = folder.path("crash");
  Recorder recorder;
  std::shared_ptr<SocketServer> server = made<SocketServer>(path);
  std::shared_ptr<SocketClient> client = made<SocketClient>(path);

  template <typename Endpoint>
  std::shared_ptr<Endpoint> made(const std::string& url) {
    auto endpoint = Endpoint::make(url);
    endpoint->setDelegate(&recorder);
    return endpoint;
  }
  /// Serves whatever is ready, and what becomes so by that.
  std::vector<std::string> callsServed() {
    for (int round = 0; round < 4; ++round) EXPECT_TRUE(RunLoop::current()->runUntil(Deadline(0ms)));
    return recorder.taken();
  }
  std::vector<std::string> callsLinked() {
    EXPECT_TRUE(server->start());
    EXPECT_TRUE(client->start());
    return callsServed();
  }
  std::vector<std::string> callsAfter(const SocketClient& sender, std::string_view bytes) {
    EXPECT_EQ(::send(sender.descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL), std::ssize(bytes));
    return callsServed();
  }
  void inFolder(const std::string& command) const {
    ASSERT_EQ(std::system(("cd " + folder.path() + " && { " + command + "; }").c_str()), 0);
  }
  [[nodiscard]] std::string listing() const { return test::shell("ls -lAi " + folder.path()).text; }
  /// Binds or connects a plain socket.
  template <typename Call>
  [[nodiscard]] bool apply(Call call, const UniqueFd& socket) const {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return call(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }
};

TEST_F(Sockets, TellEachStepInItsOrder) {
  EXPECT_THAT(callsLinked(), ElementsAre("linking", "linked", "clients 1"));
  const int descriptor = client->descriptor();
  EXPECT_THAT(callsLinked(), ElementsAre()) << "of endpoints that have started";
  EXPECT_EQ(client->descriptor(), descriptor);
  EXPECT_THAT(callsAfter(*client, "abc"), ElementsAre("server data abc"));
  EXPECT_THAT(callsAfter(*client, archive), ElementsAre("server text plain"));
  EXPECT_THAT(callsAfter(**server->clients().begin(), "xyz"), ElementsAre("data xyz"));

  const UniqueFd file(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int handle = ::dup(file.get());
  server->addClient(UniqueFd(handle));
  EXPECT_THAT(recorder.taken(), ElementsAre("clients 1")) << "with a connection that is none";
  EXPECT_EQ(::fcntl(handle, F_GETFD), -1);

  client->stop();
  EXPECT_EQ(client->descriptor(), -1);
  EXPECT_THAT(callsServed(), ElementsAre("disconnecting", "disconnect", "disconnected", "ended, left 0"));
  EXPECT_THAT(callsLinked(), ElementsAre("linking", "linked", "clients 1"));
  server->disconnectClient(**server->clients().begin());
  EXPECT_THAT(callsServed(), ElementsAre("ended, left 0", "disconnecting", "disconnect", "disconnected"));
  EXPECT_THAT(callsLinked(), ElementsAre("linking", "linked", "clients 1"));
  server->stop();
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(server->state(), SocketServerStatus::stopped);
  EXPECT_THAT(callsServed(), ElementsAre("ended, left 0", "disconnecting", "disconnect", "disconnected"));
  EXPECT_FALSE(client->start());
  EXPECT_THAT(recorder.taken(), ElementsAre("linking", "disconnecting", "disconnect", "disconnected"));
}

TEST_F(Sockets, AServerTakesThePlaceOfWhatNobodyListensAt) {
  const std::string longest(platform::RunLoopSocket::maximumPathLength - folder.path().size() - 1, 'x');
  const struct {
    const char* name;
    std::string command;
    bool starts;
    std::string file = "crash";
  } rows[] = {
      {"nothing", ":", true},
      {"a file", ": >crash", true},
      {"what was left by one killed", "python3 -c 'import socket as s; s.socket(s.AF_UNIX).bind(\"crash\")'",
       true},
      {"a file that may not be written", ": >crash; chmod 400 crash", true},
      {"a link", ": >file && ln -s file crash", false},
      {"a folder", "mkdir crash", false},
      {"a FIFO", "mkfifo crash", false},
      {"a file of another user", ": >crash; chown 65534 crash 2>/dev/null || true", ::geteuid() != 0},
      {"in a folder that others may read", "chmod 755 .", false},
      {"in a folder that is missing", ":", false, "missing/crash"},
      {"behind a link to the folder", "mkdir -m 700 real && ln -s real link", false, "link/crash"},
      {"the longest path", ":", true, longest},
      {"a path of which the end would be cut", ": >" + longest, false, longest + "x"},
      {"a name with NUL", ":", false, std::string("crash\0x", 7)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    inFolder("chmod 700 . && find . -mindepth 1 -delete && " + row.command);
    const std::string before = listing();
    const auto here = SocketServer::make(folder.path(row.file));
    EXPECT_EQ(here->start(), row.starts);
    EXPECT_FALSE(here->isTaken());
    EXPECT_EQ(SocketClient::make(folder.path(row.file))->start(), row.starts);
    EXPECT_EQ(listing().find(" srw------- ") != std::string::npos, row.starts);
    here->stop();
    EXPECT_EQ(listing(), row.starts ? "total 0\n" : before);
  }
  EXPECT_FALSE(SocketServer::make("crash")->start());
}

TEST_F(Sockets, AServerLeavesAnothersPlaceAlone) {
  const auto second = made<SocketServer>(path);
  // Its file's inode may be the next one's.
  EXPECT_TRUE(second->start() && second->stop());
  EXPECT_TRUE(server->start());
  const std::string before = listing();
  EXPECT_FALSE(second->start());
  EXPECT_TRUE(second->isTaken());
  EXPECT_EQ(listing(), before);
  inFolder("ln -s crash link");
  EXPECT_FALSE(SocketClient::make(folder.path("link"))->start());
  EXPECT_FALSE(SocketClient::make(path + "\0x"s)->start());
  EXPECT_TRUE(client->start());
  // As a person may do by hand.
  inFolder("rm crash");
  {
    const platform::FolderLock ofOneThatIsStopped(folder.path());
    EXPECT_FALSE(second->start());
    EXPECT_TRUE(second->isTaken());
  }
  EXPECT_TRUE(second->start());
  EXPECT_FALSE(second->isTaken());
  const std::string ofSecond = listing();
  server->stop();
  EXPECT_EQ(listing(), ofSecond);
}

TEST_F(Sockets, AnotherUserIsNotSpokenTo) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can be two users";
  constexpr uid_t other = 65534;
  ASSERT_TRUE(server->start());
  inFolder("chmod 777 . crash");
  const UniqueFd stranger = platform::openLocalSocket();
  ASSERT_EQ(::seteuid(other), 0);
  EXPECT_TRUE(apply(::connect, stranger));
  ASSERT_EQ(::seteuid(0), 0);
  EXPECT_THAT(callsServed(), ElementsAre());
  inFolder("chmod 700 . && chown 65534 crash");
  EXPECT_FALSE(client->start()) << "at a file of another user";
  server->stop();

  inFolder("chmod 777 .");
  const UniqueFd listener = platform::openLocalSocket();
  ASSERT_EQ(::seteuid(other), 0);
  EXPECT_TRUE(apply(::bind, listener) && ::listen(listener.get(), 1) == 0);
  ASSERT_EQ(::seteuid(0), 0);
  inFolder("chmod 700 . && chown 0 crash");
  EXPECT_FALSE(client->start()) << "with a listener of another user";
}

TEST_F(Sockets, AQueueThatStaysFullIsNotWaitedForLong) {
  const UniqueFd listener = platform::openLocalSocket();
  ASSERT_TRUE(apply(::bind, listener) && ::listen(listener.get(), 0) == 0);
  const UniqueFd first = platform::openLocalSocket();
  ASSERT_TRUE(apply(::connect, first));
  client->socketTimeout = 50ms;
  const Deadline soon(50ms);
  const Deadline late(4s);
  EXPECT_FALSE(client->start());
  EXPECT_TRUE(soon.isOver() && !late.isOver());
  EXPECT_FALSE(server->start());
  EXPECT_TRUE(server->isTaken());
  const UniqueFd accepted(::accept(listener.get(), nullptr, nullptr));
  EXPECT_TRUE(client->start());
}

TEST_F(Sockets, ADelegateMayReleaseAnEndpointInAnyCall) {
  const struct {
    const char* call;
    bool isServer = true;
  } rows[] = {{"linked", false},     {"data xyz", false},     {"disconnecting", false},
              {"disconnect", false}, {"disconnected", false}, {"clients 1"},
              {"server data abc"},   {"server text plain"},   {"ended, left 0"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.call);
    server = made<SocketServer>(path);
    client = made<SocketClient>(path);
    recorder.awaited = row.call;
    recorder.then = [&] { row.isServer ? server.reset() : client.reset(); };
    ASSERT_TRUE(server->start());
    EXPECT_TRUE(client->start());
    callsServed();
    for (const std::string& bytes : {"abc"s, archive}) {
      if (client && server) callsAfter(*client, bytes);
    }
    if (client && server) callsAfter(**server->clients().begin(), "xyz");
    if (row.isServer && server) server->disconnectClient(**server->clients().begin());
    if (client) client->stop();
    callsServed();
    EXPECT_EQ(server == nullptr, row.isServer);
    EXPECT_EQ(client == nullptr, !row.isServer);
    EXPECT_EQ(std::filesystem::exists(path), !row.isServer);
  }
  server = made<SocketServer>(path);
  client = made<SocketClient>(path);
  recorder.then = [&] { server.reset(); };
  callsLinked();
  server->stop();
  EXPECT_EQ(server, nullptr);
}

TEST_F(Sockets, AServerOutOfDescriptorsWaitsForSome) {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  callsLinked();
  // The sanitizer's checks of virtual calls take descriptors the first time.
  client->stop();
  callsServed();
  callsLinked();
  std::shared_ptr<SocketClient> waiting[3];
  for (auto& other : waiting) other = SocketClient::make(path);
  for (const auto& other : waiting) ASSERT_TRUE(other->start());
  const rlim_t before = limit.rlim_cur;
  limit.rlim_cur = static_cast<rlim_t>(UniqueFd(::dup(0)).get());
  ::setrlimit(RLIMIT_NOFILE, &limit);
  const std::clock_t begin = std::clock();
  const bool isServed = RunLoop::current()->runUntil(Deadline(500ms));
  const std::clock_t used = std::clock() - begin;
  const auto whileNone = recorder.taken();
  server->disconnectClient(**server->clients().begin());
  const auto whenOneHasLeft = callsServed();
  limit.rlim_cur = before;
  ::setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_TRUE(isServed);
  EXPECT_LT(used, CLOCKS_PER_SEC / 4) << "it spins";
  EXPECT_THAT(whileNone, ElementsAre());
  EXPECT_THAT(whenOneHasLeft, testing::IsSupersetOf({"ended, left 0", "clients 1"}));
  server->resumeAccepting();
  EXPECT_THAT(callsServed(), testing::Contains("clients 3"));
}

}  // namespace
}  // namespace quelto::crash
