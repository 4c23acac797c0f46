// Whoever is killed at any moment leaves no store torn and no value but the old or the new one, and the next run brings
// everything to where an undisturbed one would have.
#include "kill/actions.h"
#include "kill/effort.h"
#include "kill/stepping.h"
#include "support/private_root.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>

namespace
{

using kill_test::Action;
using private_root::Pairs;

constexpr const char *stores[] = {"config.db", "status.db"};

struct State {
    std::map<std::string, std::string> tree;
    Pairs pairs[std::size(stores)];
};

State current_state()
{
    State state;
    state.tree = private_root::tree();
    for (size_t i = 0; i < std::size(stores); i++)
        state.pairs[i] = private_root::stored(stores[i]);
    return state;
}

// The stores as `prepare` leaves them, so that each of many runs need not write them again.
class PreparedStores
{
  public:
    PreparedStores()
    {
        private_root::clear();
        private_root::in_child(kill_test::prepare);
        for (const auto &entry : std::filesystem::directory_iterator("/nas"))
            if (entry.path().filename().string().find(".db") != std::string::npos)
                files_[entry.path()] = private_root::contents(entry.path());
    }

    void put_back() const
    {
        private_root::clear();
        for (const auto &[path, text] : files_)
            private_root::put_file(path, text);
        for (const char *folder : {"Film", "Music", "Old things"})
            private_root::put_dir(std::string("/tmp/mnt/Disk1/") + folder);
    }

  private:
    std::map<std::string, std::string> files_;
};

const PreparedStores &prepared()
{
    static const PreparedStores stores_before;
    return stores_before;
}

// Every value is the one from before, or the one from behind, or absent where it was absent once.
void expect_no_mixture(const State &before, const State &now, const State &behind)
{
    for (size_t i = 0; i < std::size(stores); i++) {
        std::map<std::string, bool> keys;
        for (const Pairs *pairs : {&before.pairs[i], &now.pairs[i], &behind.pairs[i]})
            for (const auto &[key, value] : *pairs)
                keys[key] = true;
        const auto value_in = [&](const State &state, const std::string &key) {
            const auto found = state.pairs[i].find(key);
            return found == state.pairs[i].end() ? std::string("absent") : "value " + found->second;
        };
        for (const auto &[key, unused] : keys) {
            const std::string value = value_in(now, key);
            EXPECT_TRUE(value == value_in(before, key) || value == value_in(behind, key))
                << stores[i] << ": " << key << ": " << value;
        }
    }
}

// Nobody reads it once its user was moved: the users of old go record first, lest a restriction be lost.
constexpr char forgotten_key[] = "nas_user_ftp_4.folder";

void expect_same(State expected, State now)
{
    expected.pairs[0].erase(forgotten_key);
    now.pairs[0].erase(forgotten_key);
    EXPECT_EQ(expected.tree, now.tree);
    for (size_t i = 0; i < std::size(stores); i++)
        EXPECT_EQ(expected.pairs[i], now.pairs[i]) << stores[i];
}

class Killed : public testing::TestWithParam<Action>
{
  protected:
    static void SetUpTestSuite()
    {
        private_root::enter();
    }
};

// How far the killed runs had come.
struct Kills {
    int all = 0;
    int before_everything = 0; // the stores were as before
    int behind_everything = 0;
};

void count_kill(Kills &kills, const State &before, const State &now, const State &behind)
{
    const auto same_stores = [&](const State &other) {
        return std::equal(std::begin(now.pairs), std::end(now.pairs), std::begin(other.pairs));
    };
    kills.all++;
    kills.before_everything += same_stores(before) ? 1 : 0;
    kills.behind_everything += same_stores(behind) ? 1 : 0;
}

TEST_P(Killed, LeavesNothingTornAndTheNextRunGetsThere)
{
    const Action &action = GetParam();
    prepared().put_back();
    const State before = current_state();
    ASSERT_FALSE(before.pairs[0].empty());
    prepared().put_back(); // looking at the stores changes their files
    const int calls = stepping::run(action.act, stepping::never);
    private_root::reap_all();
    ASSERT_GT(calls, 10) << "the action itself failed";
    const State behind = current_state();
    ASSERT_TRUE(action.is_setter || !private_root::runs().empty());

    Kills kills;
    const int stride = kill_test::effort().stride(action.is_setter);
    for (int call = std::min(stride, calls) / 2 + 1; !HasFailure(); call += stride) {
        SCOPED_TRACE("killed behind system call " + std::to_string(call) + " of " + std::to_string(calls));
        prepared().put_back();
        const int made = stepping::run(action.act, call);
        private_root::reap_all();
        if (made >= 0)
            break; // it came to its end
        ASSERT_EQ(-1, made);
        const State now = current_state();
        for (const char *store : stores)
            EXPECT_TRUE(private_root::is_whole(store)) << store;
        expect_no_mixture(before, now, behind);
        count_kill(kills, before, now, behind);
        EXPECT_TRUE(private_root::in_child(action.act));
        expect_same(behind, current_state());
    }
    printf("%s: %d system calls, %d kills (%d before the stores changed, %d behind)\n", action.name, calls, kills.all,
           kills.before_everything, kills.behind_everything);
    EXPECT_GT(kills.all, 0);
    if (stride == 1) {
        EXPECT_GT(kills.before_everything, 0);
        EXPECT_GT(kills.behind_everything, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Action, Killed,
                         testing::ValuesIn(kill_test::actions, kill_test::actions + kill_test::action_count),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
