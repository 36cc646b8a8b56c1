#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "crash/socket_server.h"
#include "platform/run_loop/run_loop.h"
#include "tests/support/new_process.h"
#include "tests/support/temporary_folder.h"

namespace quelto::crash {
namespace {

using namespace std::chrono_literals;
using platform::Deadline;
using platform::RunLoop;
using platform::UniqueFd;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* archive =
    "<?xml?><plist><dict><key>$archiver</key><string>NSKeyedArchiver</string><key>$version</"
    "key><integer>100000"
    "</integer><key>$top</key><dict><key>root</key><dict><key>CF$UID</key><integer>1</integer></dict></dict>"
    "<key>$objects</key><array><string>$null</string><string>text</string></array></dict></plist>";

/// Notes every call in one list, and may do something at one of them.
class Recorder final : public SocketClientDelegate, public SocketServerDelegate {
 public:
  std::vector<std::string> calls;
  std::string awaited;
  std::function<void()> then = [] {};

  [[nodiscard]] std::vector<std::string> taken() { return std::exchange(calls, {}); }

  void stateChanged(SocketClient& client, SocketClientStatus newState) override {
    EXPECT_EQ(client.state(), newState);
    constexpr const char* names[] = {"unknown", "linked", "disconnected", "linking", "disconnecting"};
    note(names[static_cast<int>(newState)]);
  }
  void disconnect(SocketClient& client) override {
    EXPECT_EQ(client.sockRef(), nullptr);
    note("disconnect");
  }
  void dataReceived(SocketClient&, std::string_view data) override { note("data " + std::string(data)); }
  void textReceived(SocketClient&, const std::string& text) override { note("text " + text); }
  void clientsChanged(SocketServer& server, std::size_t count) override {
    EXPECT_EQ(server.clients().size(), count);
    note("clients " + std::to_string(count));
  }
  void dataReceived(SocketServer&, std::string_view data, SocketClient&) override {
    note("server data " + std::string(data));
  }
  void textReceived(SocketServer&, const std::string& text, SocketClient&) override {
    note("server text " + text);
  }
  void clientEnded(SocketServer& server, SocketClient& client) override {
    EXPECT_FALSE(server.clients().contains(client.shared_from_this()));
    note("ended");
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
  std::shared_ptr<SocketServer> server = newServer();
  std::shared_ptr<SocketClient> client = newClient(path);

  std::shared_ptr<SocketServer> newServer() {
    auto made = SocketServer::make(path);
    made->setDelegate(&recorder);
    return made;
  }
  std::shared_ptr<SocketClient> newClient(std::string url) {
    auto made = SocketClient::make(std::move(url));
    made->setDelegate(&recorder);
    return made;
  }
  /// Whatever is ready, and what becomes so by that.
  static void serve() {
    for (int round = 0; round < 4; ++round) ASSERT_TRUE(RunLoop::current()->runUntil(Deadline(0ms)));
  }
  void link() {
    ASSERT_TRUE(server->start());
    ASSERT_TRUE(client->start());
    serve();
    recorder.calls.clear();
  }
  static void send(const SocketClient& from, std::string_view bytes) {
    EXPECT_EQ(::send(from.descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL), std::ssize(bytes));
  }
  [[nodiscard]] std::string listing() const { return test::shell("ls -lAi " + folder.path()).text; }
  void prepare(const std::string& command) const {
    ASSERT_EQ(std::system(("cd " + folder.path() + " && { " + command + "; }").c_str()), 0);
  }
  /// A plain socket that listens at the path.
  [[nodiscard]] UniqueFd listener(int backlog) const {
    UniqueFd socket = platform::openLocalSocket();
    EXPECT_TRUE(apply(::bind, socket));
    EXPECT_EQ(::listen(socket.get(), backlog), 0);
    return socket;
  }
  template <typename Call>
  [[nodiscard]] bool apply(Call call, const UniqueFd& socket) const {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return call(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }
};

TEST_F(Sockets, TellEachStepInItsOrder) {
  EXPECT_EQ(server->state(), SocketServerStatus::stopped);
  ASSERT_TRUE(server->start());
  EXPECT_EQ(server->state(), SocketServerStatus::running);
  EXPECT_TRUE(server->start());
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, mode_t{S_IFSOCK | 0600});

  EXPECT_EQ(client->descriptor(), -1);
  EXPECT_TRUE(client->start());
  const int descriptor = client->descriptor();
  EXPECT_TRUE(client->start());
  EXPECT_EQ(client->descriptor(), descriptor);
  serve();
  EXPECT_THAT(recorder.taken(), ElementsAre("linking", "linked", "clients 1"));

  send(*client, "abc");
  serve();
  send(*client, archive);
  serve();
  send(**server->clients().begin(), "xyz");
  serve();
  EXPECT_THAT(recorder.taken(), ElementsAre("server data abc", "server text text", "data xyz"));

  EXPECT_TRUE(client->stop());
  EXPECT_EQ(client->descriptor(), -1);
  serve();
  EXPECT_THAT(recorder.taken(), ElementsAre("disconnecting", "disconnect", "disconnected", "ended"));
  EXPECT_TRUE(client->start());
  serve();
  recorder.calls.clear();
  EXPECT_TRUE(server->stop());
  EXPECT_THAT(server->clients(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(server->state(), SocketServerStatus::stopped);
  serve();
  EXPECT_THAT(recorder.taken(), ElementsAre("ended", "disconnecting", "disconnect", "disconnected"));
}

TEST_F(Sockets, AConnectionThatCannotBeUsedChangesNoCount) {
  link();
  const platform::Pipe pipe = platform::makePipe();
  const int handle = ::fcntl(pipe.readEnd.get(), F_DUPFD_CLOEXEC, 0);
  server->addClient(UniqueFd(handle));
  EXPECT_THAT(recorder.taken(), ElementsAre("clients 1"));
  EXPECT_EQ(::fcntl(handle, F_GETFD), -1);
  server->disconnectClient(**server->clients().begin());
  EXPECT_THAT(recorder.taken(), ElementsAre("ended"));
  serve();
  EXPECT_THAT(recorder.taken(), ElementsAre("disconnecting", "disconnect", "disconnected"));
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
      {"what a server left that was killed",
       "python3 -c 'import socket; socket.socket(socket.AF_UNIX).bind(\"crash\")'", true},
      {"a file under another umask", "umask 0777 && : >crash", true},
      {"a link to a file", ": >file && ln -s file crash", false},
      {"a link to nothing", "ln -s nothing crash", false},
      {"a folder", "mkdir crash", false},
      {"a FIFO", "mkfifo crash", false},
      {"a folder that others may write to", "chmod 777 .", false},
      {"a folder that others may read", "chmod 755 .", false},
      {"a folder that is missing", ":", false, "missing/crash"},
      {"a folder that is a link", "mkdir -m 700 real && ln -s real link", false, "link/crash"},
      {"the longest path", ":", true, longest},
      {"a path too long", ":", false, longest + "x"},
      {"a path of which the end would be cut", ": >" + longest, false, longest + "x"},
      {"a name with NUL", ":", false, std::string("crash\0x", 7)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    prepare("chmod 700 . && find . -mindepth 1 -delete && " + row.command);
    const std::string before = listing();
    const auto here = SocketServer::make(folder.path(row.file));
    EXPECT_EQ(here->start(), row.starts);
    EXPECT_FALSE(here->isTaken());
    EXPECT_EQ(newClient(folder.path(row.file))->start(), row.starts);
    here->stop();
    EXPECT_EQ(listing(), row.starts ? "total 0\n" : before);
  }
  EXPECT_FALSE(SocketServer::make("crash")->start());
}

TEST_F(Sockets, OneServerDoesNotTakeAnothersPlace) {
  link();
  const std::string before = listing();
  const auto second = newServer();
  EXPECT_FALSE(second->start());
  EXPECT_TRUE(second->isTaken());
  EXPECT_EQ(second->state(), SocketServerStatus::stopped);
  EXPECT_EQ(listing(), before);
  serve();
  recorder.calls.clear();
  EXPECT_TRUE(newClient(path)->start());

  // As a person may do by hand.
  ASSERT_EQ(::unlink(path.c_str()), 0);
  EXPECT_TRUE(second->start());
  EXPECT_FALSE(second->isTaken());
  const std::string ofSecond = listing();
  EXPECT_TRUE(server->stop());
  EXPECT_EQ(listing(), ofSecond);
}

TEST_F(Sockets, AClientConnectsToASocketOfOursOnly) {
  const UniqueFd listening = listener(10);
  const struct {
    const char* name;
    const char* command;
    bool starts = false;
  } rows[] = {
      {"as it is", ":", true},
      {"in a folder for others", "chmod 711 ."},
      {"behind a link", "mv crash c && ln -s c crash"},
      {"a file", "mv crash c && : >crash"},
      {"nothing", "mv crash c"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    prepare(std::string("chmod 700 . && if [ -e c ]; then rm -f crash && mv c crash; fi && ") + row.command);
    EXPECT_EQ(client->start(), row.starts);
    EXPECT_EQ(client->state(), row.starts ? SocketClientStatus::linked : SocketClientStatus::disconnected);
    if (row.starts) client->stop();
    recorder.calls.erase(std::ranges::remove(recorder.calls, "linked").begin(), recorder.calls.end());
    EXPECT_THAT(recorder.taken(), ElementsAre("linking", "disconnecting", "disconnect", "disconnected"));
  }
}

TEST_F(Sockets, AnotherUserIsNotSpokenTo) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can be two users";
  constexpr uid_t other = 65534;
  ASSERT_TRUE(server->start());
  ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
  ASSERT_EQ(::chmod(path.c_str(), 0777), 0);
  const UniqueFd stranger = platform::openLocalSocket();
  ASSERT_EQ(::seteuid(other), 0);
  EXPECT_TRUE(apply(::connect, stranger));
  ASSERT_EQ(::seteuid(0), 0);
  serve();
  EXPECT_THAT(recorder.taken(), IsEmpty());
  char byte = 0;
  EXPECT_EQ(::read(stranger.get(), &byte, 1), 0);
  server->stop();

  ASSERT_EQ(::seteuid(other), 0);
  UniqueFd listening = listener(10);
  ASSERT_EQ(::seteuid(0), 0);
  ASSERT_EQ(::chmod(folder.path().c_str(), 0700), 0);
  EXPECT_FALSE(client->start()) << "a file of another user";
  ASSERT_EQ(::chown(path.c_str(), 0, 0), 0);
  EXPECT_FALSE(client->start()) << "a listener of another user";
  EXPECT_FALSE(server->start()) << "in place of another user's listener";
}

TEST_F(Sockets, AQueueThatStaysFullIsNotWaitedForLong) {
  const UniqueFd listening = listener(0);
  std::vector<UniqueFd> waiting;
  do {
    waiting.push_back(platform::openLocalSocket());
    ASSERT_TRUE(platform::makeNonBlocking(waiting.back().get()));
  } while (apply(::connect, waiting.back()));
  client->socketTimeout = 50ms;
  const Deadline soon(50ms);
  const Deadline late(5s);
  EXPECT_FALSE(client->start());
  EXPECT_TRUE(soon.isOver());
  EXPECT_FALSE(late.isOver());
  EXPECT_FALSE(server->start());
  EXPECT_TRUE(server->isTaken()) << "one whose queue is full listens";
  ASSERT_EQ(::close(::accept(listening.get(), nullptr, nullptr)), 0);
  EXPECT_TRUE(client->start());
  timeval limit{};
  socklen_t length = sizeof limit;
  ASSERT_EQ(::getsockopt(client->descriptor(), SOL_SOCKET, SO_SNDTIMEO, &limit, &length), 0);
  EXPECT_GE(limit.tv_usec, 50'000) << "a send is bounded as well";
}

TEST_F(Sockets, ADelegateMayReleaseAnEndpointInAnyCall) {
  for (const char* call : {"linked", "data xyz", "disconnecting", "disconnect", "disconnected"}) {
    SCOPED_TRACE(call);
    client = newClient(path);
    recorder.awaited = call;
    recorder.then = [&] { client.reset(); };
    ASSERT_TRUE(server->start());
    client->start();
    serve();
    for (const auto& accepted : server->clients()) send(*accepted, "xyz");
    serve();
    server->stop();
    serve();
    EXPECT_EQ(client, nullptr);
  }
  for (const char* call : {"clients 1", "server data abc", "server text text", "ended"}) {
    SCOPED_TRACE(call);
    server = newServer();
    client = newClient(path);
    recorder.awaited = call;
    recorder.then = [&] { server.reset(); };
    ASSERT_TRUE(server->start());
    ASSERT_TRUE(client->start());
    serve();
    for (const auto* bytes : {"abc", archive}) {
      if (client->descriptor() != -1) send(*client, bytes);
      serve();
    }
    client->stop();
    serve();
    EXPECT_EQ(server, nullptr);
    EXPECT_FALSE(std::filesystem::exists(path));
  }
}

/// Lets this process open no further descriptor while the object lives.
class NoDescriptors {
 public:
  NoDescriptors() {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const UniqueFd next(::fcntl(0, F_DUPFD_CLOEXEC, 0));
    const rlimit limit{.rlim_cur = static_cast<rlim_t>(next.get()), .rlim_max = before_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit before_{};
};

TEST_F(Sockets, AServerOutOfDescriptorsWaitsForSome) {
  test::inNewProcess([this] {
    link();
    std::vector<std::shared_ptr<SocketClient>> waiting;
    for (int number = 0; number < 3; ++number) {
      waiting.push_back(newClient(path));
      ASSERT_TRUE(waiting.back()->start());
    }
    recorder.calls.clear();
    {
      const NoDescriptors none;
      const std::clock_t begin = std::clock();
      ASSERT_TRUE(RunLoop::current()->runUntil(Deadline(500ms)));
      EXPECT_LT(std::clock() - begin, CLOCKS_PER_SEC / 4) << "it spins";
      EXPECT_THAT(recorder.taken(), IsEmpty());
      server->disconnectClient(**server->clients().begin());
      serve();
      EXPECT_THAT(recorder.taken(), testing::IsSupersetOf({"ended", "clients 1"})) << "one has left";
    }
    server->resumeAccepting();
    serve();
    EXPECT_EQ(server->clients().size(), 3);
    server->stop();
  });
}

}  // namespace
}  // namespace quelto::crash
