#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <regex>
#include <thread>

#include "ini/ini_file.h"
#include "keychain/sec_key.h"
#include "platform/crypto/base64.h"
#include "platform/files/folder_lock.h"
#include "platform/threads/deadline.h"
#include "securefile/key_file.h"
#include "tests/support/new_process.h"
#include "tests/support/sessions.h"

namespace quelto::securefile {
namespace {

using items::GeneralPassword;
using items::InternetPassword;
using items::SecPasswordStruct;
using items::SecureNote;
using test::exitStatusOf;
using test::inNewProcess;
using test::newProcess;
using testing::ElementsAre;
using testing::MatchesRegex;
using DeleteAll = KeyFile::DeleteAll;

SecureNote note(const std::string& name) { return {.account = "org", .name = name, .generic = "g"}; }

bool add(const SecPasswordStruct& settings, std::string_view password) {
  return KeyFile::addSecItem(settings, platform::Secret(password));
}

std::string passwordOf(const SecPasswordStruct& match) {
  const auto password = KeyFile::loadSecItemPassword(match);
  return password ? std::string(password->view()) : "(absent)";
}

/// A password file that is used by one process after another.
class PasswordFile : public test::InSession {
 protected:
  [[nodiscard]] std::string path() const { return folder_.path(".keys"); }
  [[nodiscard]] std::string content() const { return test::contentOf(path()); }

  /// The process uses the file of this test.
  void use() const { KeyFile::initSecureKey({.identify = "org.example", .filePath = path()}); }

  /// The names of the notes in the file, in its order.
  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> names;
    const ini::IniFile file(path());
    for (const auto& section : file.values) names.push_back(section.value.find("name")->c_str());
    return names;
  }

  test::TemporaryFolder folder_;
};
INSTANTIATE_TEST_SUITE_P(In, PasswordFile, test::everySession, testing::PrintToStringParamName());

TEST_P(PasswordFile, KeepsWhatOneProcessAddsForTheNext) {
  const InternetPassword account{.account = "carol",
                                 .server = "host",
                                 .port = 22,
                                 .scheme = items::SecProtocolType{0x73736820},
                                 .auth = items::SecAuthenticationType{0x746C6664},
                                 .domain = "d"};
  const std::string manyBlocks(10'000, 'x');
  inNewProcess([&] {
    use();
    EXPECT_TRUE(add(account, "pässword"));
    EXPECT_TRUE(add(note("empty"), ""));
    EXPECT_TRUE(add(note("long"), manyBlocks));
    EXPECT_TRUE(add(GeneralPassword{.service = "s"}, "line\nends\r\n "));
  });
  inNewProcess([&] {
    use();
    const auto found = KeyFile::loadSecItemAccount(InternetPassword{.server = "host", .port = 22});
    ASSERT_TRUE(found);
    EXPECT_EQ(found->username, "carol");
    EXPECT_EQ(found->password.view(), "pässword");
    EXPECT_EQ(passwordOf(note("empty")), "");
    EXPECT_EQ(passwordOf(note("long")), manyBlocks);
    EXPECT_EQ(passwordOf(GeneralPassword{.service = "s"}), "line\nends\r\n ");
    EXPECT_EQ(passwordOf(note("other")), "(absent)");
    EXPECT_FALSE(KeyFile::loadSecItemAccount(note("other")));
    const auto anonymous = KeyFile::loadSecItemAccount(GeneralPassword{.service = "s"});
    EXPECT_EQ(anonymous->username, "");
  });
}

/// The form does not depend on where the keys are.
using PasswordFileText = PasswordFile;
INSTANTIATE_TEST_SUITE_P(In, PasswordFileText, testing::Values(test::Session::server),
                         testing::PrintToStringParamName());

/// The file with each secret as "SECRET" and each time as "TIME".
std::string masked(std::string text) {
  const std::regex secret(R"(password = "[A-Za-z0-9+/]{105}" \^\n {11}"[A-Za-z0-9+/]{105}" \^\n)"
                          R"( {11}"[A-Za-z0-9+/]{105}" \^\n {11}"[A-Za-z0-9+/=]{29}"\n)");
  text = std::regex_replace(text, secret, "password = SECRET\n");
  return std::regex_replace(text, std::regex(R"(20\d\d-\d\d-\d\d \d\d:\d\d:\d\d -03:30)"), "TIME");
}

TEST_P(PasswordFileText, IsReadableWithAnyEditor) {
  user_.around().set("TZ", "XYZ3:30");
  const std::string noCode(4, '\0');
  const std::string hosts =
      "class = internet\naccount = \ndomain = \nserver = host\npath = \nport = 0\nscheme = " + noCode +
      "\nauth = " + noCode +
      "\nlabel = \ndescription = \ncomment = who\u00E9\npassword = SECRET\n"
      "cdate = TIME\nmdate = TIME\n\n";
  inNewProcess([&] {
    use();
    EXPECT_TRUE(add(InternetPassword{.server = "host", .comment = "who\u00E9"}, "s"));
    EXPECT_EQ(masked(content()),
              "# Secure file V1.0 (TIME)\n\n[BFFycrECmaRDknDu_PVf5io4nb1TQIafGKDf7ATQeMo,]\n" + hosts);
    EXPECT_TRUE(add(SecureNote{.account = "alice", .name = "server1", .comment = "c"}, ""));
    // Names are in lower case once they have been read.
    EXPECT_EQ(
        masked(content()),
        "# Secure file V1.0 (TIME)\n\n[bffycrecmardkndu_pvf5io4nb1tqiafgkdf7atqemo,]\n" + hosts +
            "[KxgZ-Tm4wGoXbAdMaB_bBYPKydocCApL1hozhgsBSYM,]\nclass = securenote\naccount = alice\n"
            "name = server1\ngeneric = \nlabel = \ndescription = secure note\ncomment = c\npassword = \n"
            "cdate = TIME\nmdate = TIME\n\n");
  });
  struct stat status {};
  ::stat(path().c_str(), &status);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_P(PasswordFileText, ChangesOnlyWhatIsStoredAnew) {
  inNewProcess([&] {
    use();
    const std::string before =
        "[one]\nclass = securenote\nname = n\nlabel = mine\nextra = kept\nmdate = old\ncdate = old\n"
        "[two]\nclass = securenote\nname = n\naccount = a\n";
    folder_.write(".keys", before);
    EXPECT_TRUE(add(SecureNote{.name = "n", .label = "new", .comment = "new"}, "s"));
    const ini::IniFile file(path());
    EXPECT_EQ(*file.values.find("one"), *ini::IniFile(folder_.write("before", before)).values.find("one"));
    // The last match is the one that is changed.
    const ini::IniSection* const changed = file.values.find("two");
    EXPECT_EQ(changed->size(), 5U);
    EXPECT_NE(changed->find("mdate"), nullptr);
    EXPECT_EQ(changed->find("cdate"), nullptr);
    EXPECT_EQ(passwordOf(SecureNote{.account = "a", .name = "n"}), "s");
    EXPECT_EQ(passwordOf(SecureNote{.name = "n"}), "") << "the first match has no secret";
  });
}

TEST_P(PasswordFileText, DeletesTheFirstMatchOrAll) {
  const struct {
    SecureNote match;
    DeleteAll deleteAll;
    std::vector<std::string> left;
  } rows[] = {
      {{.account = "a"}, DeleteAll::no, {"", "b", "x"}},
      {{.account = "a"}, DeleteAll::yes, {"x"}},
      {{.account = "a", .name = ""}, DeleteAll::yes, {"a", "b", "x"}},
      {{.account = "c"}, DeleteAll::yes, {"a", "", "b", "x"}},
  };
  inNewProcess([&] {
    use();
    for (const auto& row : rows) {
      folder_.write(
          ".keys",
          "; comment\n[1]\nclass=securenote\naccount=a\nname=a\n[2]\nclass=securenote\naccount=a\nname=\n"
          "[3]\nclass=securenote\naccount=a\nname=b\n[4]\nclass=securenote\naccount=b\nname=x\n");
      EXPECT_EQ(KeyFile::findSecItem(SecureNote{.account = "a", .name = ""})->find("name")[0], "a")
          << "an empty name finds any";
      EXPECT_TRUE(KeyFile::deleteSecItem(row.match, row.deleteAll));
      EXPECT_EQ(names(), row.left);
      EXPECT_THAT(content(), testing::StartsWith("# Secure file V1.0 (")) << "saved in any case";
    }
    std::filesystem::remove(path());
    EXPECT_TRUE(KeyFile::deleteSecItem(note("n"), DeleteAll::yes));
    EXPECT_TRUE(std::regex_match(content(), std::regex(R"(# Secure file V1\.0 \([^()]*\)\n\n)")))
        << content();
  });
}

TEST_P(PasswordFileText, ReadsASecretThatCannotBeDecryptedAsEmpty) {
  inNewProcess([&] {
    use();
    EXPECT_TRUE(add(note("whole"), "s"));
    const std::string whole = *KeyFile::findSecItem(note("whole"))->find("password");
    const std::string half = whole.substr(0, 172);
    const auto notUtf8 = keychain::SecKeyCreateEncryptedData(
        *KeyFile::publicKey(), keychain::kSecKeyAlgorithmRSAEncryptionPKCS1, "\xFF");
    const struct {
      const char* name;
      std::string stored;
    } rows[] = {
        {"nothing", ""}, {"altered", half + half}, {"not UTF-8", platform::base64(notUtf8->view()).value()}};
    for (const auto& row : rows) {
      ini::IniFile file(path());
      file.values["x"]["class"] = "securenote";
      file.values["x"]["name"] = "x";
      file.values["x"]["password"] = row.stored;
      ASSERT_TRUE(file.saveAll(120, ""));
      EXPECT_EQ(passwordOf(SecureNote{.name = "x"}), "") << row.name;
      EXPECT_EQ(KeyFile::loadSecItemAccount(SecureNote{.name = "x"})->password.view(), "") << row.name;
    }
  });
}

/// What must neither be changed nor lost.
TEST_P(PasswordFileText, IsLeftAloneWhenASaveWouldLoseSomething) {
  const struct {
    const char* name;
    const char* command;
  } rows[] = {
      {"not UTF-8", "printf '\\377' >>.keys"},
      {"CR LF", "sed -i 's/$/\\r/' .keys"},
      {"sections after a continuation without a key", "sed -i '1i[a]\\n= b ^' .keys"},
      {"entries after one", "sed -i 's/^comment = /= b ^/' .keys"},
      {"writable for everyone", "chmod 666 .keys"},
      {"a folder that may not be written", "chmod 500 ."},
  };
  const auto state = [this] {
    return test::shell("ls -dilan --time-style=full-iso " + folder_.path() + "/.keys").text;
  };
  inNewProcess([&] {
    use();
    EXPECT_TRUE(add(note("n"), "s"));
    const auto run = [this](const std::string& command) {
      ASSERT_EQ(std::system(("cd " + folder_.path() + " && " + command).c_str()), 0) << command;
    };
    for (const auto& row : rows) {
      run("cp -p .keys .keys.whole");
      run(row.command);
      EXPECT_TRUE(test::holdsAsOrdinaryUser(folder_.path(), [&] {
        const std::string before = state();
        const bool isAdded = add(note("other"), "s");
        const bool isDeleted = KeyFile::deleteSecItem(note("n"), DeleteAll::yes);
        return !isAdded && !isDeleted && state() == before;
      })) << row.name;
      run("chmod 700 . && rm -r .keys && mv .keys.whole .keys");
    }
  });
}

TEST_P(PasswordFileText, TakesNoTextThatWouldBeginALine) {
  inNewProcess([&] {
    use();
    for (const std::string end : {"\n", "\r", "\v", "\f", "\u0085", "\u2028", "\u2029"}) {
      const std::string text = "x" + end + "[y]";
      for (const SecPasswordStruct& item : {SecPasswordStruct(SecureNote{.comment = text}),
                                            SecPasswordStruct(InternetPassword{.server = text}),
                                            SecPasswordStruct(GeneralPassword{.label = text})}) {
        EXPECT_FALSE(add(item, "s")) << testing::PrintToString(end);
      }
    }
    EXPECT_FALSE(add(SecureNote{.name = "\xFF"}, "s"));
    EXPECT_FALSE(add(note("n"), "\xFF"));
    EXPECT_FALSE(std::filesystem::exists(path()));
  });
}

TEST_P(PasswordFileText, LosesNoWholeEntryWhereverTheFileIsCut) {
  inNewProcess([&] {
    use();
    for (const char* const name : {"a", "b", "c"}) EXPECT_TRUE(add(note(name), name));
    const std::string whole = content();
    for (std::size_t size = 0; size <= whole.size(); ++size) {
      const std::string cut = whole.substr(0, size);
      folder_.write(".keys", cut);
      // The empty line that ends an entry is not needed.
      std::vector<std::string> left;
      for (std::size_t at = 0; (at = cut.find("\nmdate = ", at)) != cut.npos; ++at) {
        if (cut.find('\n', at + 1) != cut.npos) left.push_back(std::string(1, "abc"[left.size()]));
      }
      for (const std::string& name : left) ASSERT_TRUE(KeyFile::findSecItem(note(name))) << size;
      if (size % 29 != 0) continue;  // each save takes its time
      ASSERT_TRUE(add(note("d"), "d")) << size;
      left.push_back("d");
      for (const std::string& name : left) ASSERT_EQ(passwordOf(note(name)), name) << size;
    }
  });
}

TEST_P(PasswordFileText, KeepsTheChangesOfAllThreads) {
  constexpr int threads = 8;
  inNewProcess([&] {
    use();
    std::vector<std::jthread> workers;
    for (int worker = 0; worker < threads; ++worker) {
      workers.emplace_back([worker] {
        const std::string name = std::to_string(worker);
        for (const char* const item : {"x", "y", "z"}) EXPECT_TRUE(add(note(name + item), name));
        EXPECT_TRUE(KeyFile::deleteSecItem(note(name + "y"), DeleteAll::yes));
        EXPECT_EQ(passwordOf(note(name + "x")), name);
      });
    }
    workers.clear();
    EXPECT_EQ(names().size(), 2U * threads);
  });
}

/// Sixteen processes that begin together, with neither a pair nor a file.
TEST_P(PasswordFile, IsMadeByManyProcessesAtOnce) {
  constexpr int processes = 16;
  std::vector<pid_t> writers;
  for (int writer = 0; writer < processes; ++writer) {
    writers.push_back(newProcess([this, writer] {
      use();
      const std::string name = std::to_string(writer);
      for (const char* const item : {"x", "y"}) EXPECT_TRUE(add(note(name + item), name));
      EXPECT_TRUE(KeyFile::deleteSecItem(note(name + "y"), DeleteAll::yes));
    }));
  }
  const std::string end = user_.around().path("end");
  const pid_t reader = newProcess([this, &end] {
    while (!std::filesystem::exists(end)) {
      const std::string now = content();
      const bool isWhole = now.empty() || (now.starts_with("# Secure file") && now.ends_with("\n\n"));
      ASSERT_TRUE(isWhole) << now;
    }
  });
  for (const pid_t writer : writers) EXPECT_EQ(exitStatusOf(writer), 0);
  ::mkdir(end.c_str(), 0700);
  EXPECT_EQ(exitStatusOf(reader), 0);
  inNewProcess([&] {
    use();
    for (int writer = 0; writer < processes; ++writer) {
      const std::string name = std::to_string(writer);
      EXPECT_EQ(passwordOf(note(name + "x")), name) << "sealed for another pair, or lost";
    }
    EXPECT_EQ(names().size(), std::size_t{processes});
  });
  EXPECT_EQ(test::shell("ls -A " + folder_.path()).text, ".keys\n") << "nothing is left behind";
}

/// A process that is stopped while it makes the pair, or in the middle of its change.
TEST_P(PasswordFileText, IsNotBlockedByAStoppedProcess) {
  using Clock = platform::Deadline::Clock;
  constexpr auto limit = platform::FolderLock::limit;
  for (const std::string& folder : {user_.data(), folder_.path()}) {
    const test::Companion stopped("mkdir -p -m 700 " + folder + "; exec flock --no-fork " + folder +
                                      " sh -c 'echo >&3; exec sleep 100'",
                                  test::Companion::Speech::announces);
    inNewProcess([&] {
      const auto begin = Clock::now();
      use();
      std::vector<std::jthread> workers;
      for (const char* const name : {"a", "b", "c", "d"}) {
        workers.emplace_back([name] {
          EXPECT_TRUE(add(note(name), "s"));
          EXPECT_EQ(passwordOf(note(name)), "s");
        });
      }
      workers.clear();
      EXPECT_LT(Clock::now() - begin, 4 * limit) << "one after the other";
      EXPECT_GE(Clock::now() - begin, limit) << "not locked";
      EXPECT_EQ(names().size(), 4U);
    });
  }
}

}  // namespace
}  // namespace quelto::securefile
