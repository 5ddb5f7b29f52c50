// User data between a host and the Korel code of an instance, and the -krtuserdata
// switch of a program's command line.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kclkrt/runtime/host_support.h"

using hosttest::Captured;
using hosttest::number;
using hosttest::Owned;
using hosttest::text;
using hosttest::text_of;

namespace {

const char kNoInstance[] = "Unable to locate a valid KRT instance. Access to KRT user data is not available.\n";

class UserData : public hosttest::RuntimeHost {
 protected:
  int id() const { return static_cast<int>(kclGetID(k_)); }

  // Runs the switch over `args` (after a program name) and returns what is kept.
  std::vector<std::string> apply_switches(std::vector<std::string> args, int selector) {
    args.insert(args.begin(), "program");
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    int left = kclSetCmdLineUserData(selector, static_cast<int>(argv.size()), argv.data());
    return {argv.begin(), argv.begin() + left};
  }

  std::string stored_text(const char* key) {
    Owned value(kclGetKRTUserData(id(), key));
    return value ? text_of(value.get()) : "<none>";
  }
};

}  // namespace

TEST_F(UserData, HostAndKorelCodeShareValuesByKey) {
  Owned value = number(12.5);
  ASSERT_TRUE(kclSetKRTUserData(id(), "threshold", value.get()));
  value.reset();  // the table keeps its own copy

  Owned from_host(kclGetKRTUserData(id(), "threshold"));
  ASSERT_NE(from_host, nullptr);
  EXPECT_EQ(kxGetScalar(from_host.get()), 12.5);
  // A negative selector means the current instance.
  Owned from_current(kclGetKRTUserData(-1, "threshold"));
  ASSERT_NE(from_current, nullptr);
  EXPECT_EQ(kxGetScalar(from_current.get()), 12.5);

  // Korel code reads what the host stored, and hands values back; values outlive the
  // call that stored them.
  Owned key = text("threshold");
  EXPECT_EQ(scalar_result("echo_user_data", {key.get()}), 12.5);
  Owned reply_key = text("reply");
  Owned reply = text("from Korel");
  kxArray* in[2] = {reply_key.get(), reply.get()};
  ASSERT_TRUE(kclFeval(k_, "store_user_data", 0, nullptr, 2, in)) << kclGetLastErrorMessage(k_);
  EXPECT_EQ(stored_text("reply"), "from Korel");
  EXPECT_EQ(stored_text("reply"), "from Korel");  // reading does not take it away

  // Storing again replaces; a key never set is simply absent.
  Owned second = text("again");
  ASSERT_TRUE(kclSetKRTUserData(id(), "reply", second.get()));
  EXPECT_EQ(stored_text("reply"), "again");
  EXPECT_EQ(kclGetKRTUserData(id(), "never_set"), nullptr);
  Owned absent_key = text("never_set");
  kxArray* absent_in[1] = {absent_key.get()};
  kxArray* absent[1] = {nullptr};
  ASSERT_TRUE(kclFeval(k_, "echo_user_data", 1, absent, 1, absent_in));
  Owned empty(absent[0]);
  EXPECT_TRUE(kxIsEmpty(empty.get()));
  EXPECT_EQ(Captured::take_internal(), "");

  // Each instance has its own table.
  krtInstance* other = nullptr;
  ASSERT_TRUE(kclInitializeInstance(&other));
  EXPECT_EQ(kclGetKRTUserData(static_cast<int>(kclGetID(other)), "threshold"), nullptr);
  kclPopActivation(other);
}

TEST_F(UserData, UnknownInstancesAndBadKeysAreReported) {
  Owned value = number(1);
  EXPECT_EQ(kclGetKRTUserData(999999, "key"), nullptr);
  EXPECT_FALSE(kclSetKRTUserData(999999, "key", value.get()));
  EXPECT_EQ(Captured::take_internal(), std::string(kNoInstance) + kNoInstance);

  // From Korel code, a key that is not text is an error naming the key's class.
  Owned number_key = number(3);
  kxArray* out[1] = {nullptr};
  kxArray* in[2] = {number_key.get(), value.get()};
  EXPECT_FALSE(kclFeval(k_, "echo_user_data", 1, out, 1, in));
  const char* id = nullptr;
  const char* message = nullptr;
  kclGetLastErrIdAndMsg(&id, &message);
  EXPECT_STREQ(id, "Korel:getkrtuserdata:BadKeyType");
  EXPECT_STREQ(message,
               "Wrong type of data used as KRT user data key. Keys must be strings. \n Actual key type: 'double'.");
  Owned cell_key(kxCreateCellMatrix(1, 1));
  in[0] = cell_key.get();
  EXPECT_FALSE(kclFeval(k_, "store_user_data", 0, nullptr, 2, in));
  kclGetLastErrIdAndMsg(&id, &message);
  EXPECT_STREQ(id, "Korel:setkrtuserdata:BadKeyType");
  EXPECT_NE(std::string(message).find("Actual key type: 'cell'."), std::string::npos);
  EXPECT_FALSE(kclFeval(k_, "setkrtuserdata", 0, nullptr, 1, in));
  kclGetLastErrIdAndMsg(&id, &message);
  EXPECT_STREQ(id, "Korel:setkrtuserdata:notEnoughInputs");
}

TEST_F(UserData, CommandLineSwitchesAreTakenOut) {
  // The switch in any case; the value keeps every colon after the first.
  EXPECT_EQ(apply_switches({"in.txt", "-KRTUserData", "a:b:c", "out.txt", "-krtuserdata", "mode:fast"}, id()),
            (std::vector<std::string>{"program", "in.txt", "out.txt"}));
  EXPECT_EQ(stored_text("a"), "b:c");
  EXPECT_EQ(stored_text("mode"), "fast");
  EXPECT_EQ(Captured::take_internal(), "");

  // An empty value is a value.
  EXPECT_EQ(apply_switches({"-krtuserdata", "empty:", "x"}, -1), (std::vector<std::string>{"program", "x"}));
  EXPECT_EQ(stored_text("empty"), "");

  // A pair without a key or without a colon loses its switch but stays for the program.
  EXPECT_EQ(apply_switches({"first", "-krtuserdata", ":b", "-krtuserdata", "ab", "last"}, id()),
            (std::vector<std::string>{"program", "first", ":b", "ab", "last"}));
  const std::string output = Captured::take_internal();
  EXPECT_NE(output.find("Incorrect format for -krtuserdata key:value argument.\n"), std::string::npos);
  EXPECT_NE(output.find(" Found   : ':b'\n"), std::string::npos);
  EXPECT_NE(output.find(" Found   : 'ab'\n"), std::string::npos);
  EXPECT_EQ(stored_text(""), "<none>");

  // A switch with nothing after it is reported and removed.
  EXPECT_EQ(apply_switches({"keep", "-krtuserdata"}, id()), (std::vector<std::string>{"program", "keep"}));
  EXPECT_EQ(Captured::take_internal().rfind("-krtuserdata appears to have been specified with no argument.\n", 0),
            0u);

  // Without an instance nothing is taken out.
  ASSERT_TRUE(kclPopActivation(k_));
  EXPECT_EQ(apply_switches({"-krtuserdata", "k:v"}, -1),
            (std::vector<std::string>{"program", "-krtuserdata", "k:v"}));
  EXPECT_EQ(Captured::take_internal(), kNoInstance);
  ASSERT_TRUE(kclPushActivation(k_));
}
