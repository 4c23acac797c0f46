#include "plan/secrets.h"

#include "nas/service.h"
#include "nas/user.h"
#include "plan/live_host.h"
#include "platform/process.h"

#include <algorithm>
#include <set>

namespace nasplan
{
namespace
{

constexpr size_t longest_in_a_command = 127;
constexpr unsigned readable_by_all = 0004;
constexpr char hidden[] = "********";

void add_forms(std::set<std::string> &forms, const std::string &password)
{
    for (const std::string &text : {password, password.substr(0, longest_in_a_command)}) {
        std::vector<char> quoted(4 * text.size() + 1);
        text.copy(quoted.data(), text.size());
        quote_r(quoted.data(), static_cast<int>(quoted.size()));
        forms.insert(text);
        forms.insert(quoted.data());
    }
}

std::string in_quotes(std::string text)
{
    text.insert(0, "'");
    text += "'";
    return text;
}

void replace_all(std::string &text, const std::string &from, const std::string &to)
{
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
}

} // namespace

std::vector<std::string> stored_secrets()
{
    std::set<std::string> forms;
    for (const NasServiceInfo *row = nas_service_table; row->name != nullptr; row++) {
        NasUser user;
        for (int slot = 0; slot < NAS_USER_SLOTS; slot++) {
            if (get_nas_user(row->name, slot, &user) == 1 && user.password[0] != '\0')
                add_forms(forms, user.password);
        }
    }
    std::vector<std::string> longest_first(forms.begin(), forms.end());
    std::stable_sort(longest_first.begin(), longest_first.end(),
                     [](const std::string &a, const std::string &b) { return a.size() > b.size(); });
    return longest_first;
}

std::string without_secrets(const Act &act, const std::vector<std::string> &secrets)
{
    const std::string topic = topic_of(act);
    std::string text = act.text;
    const bool anywhere = topic == "account" || topic == "store";
    for (const std::string &secret : secrets) {
        if (anywhere)
            replace_all(text, secret, hidden);
        else
            replace_all(text, in_quotes(secret), in_quotes(hidden));
    }
    return text;
}

bool is_secret(const ChangedFile &file, const std::vector<Act> &acts)
{
    const FileState &state = file.after.kind != '\0' ? file.after : file.before;
    auto works_on_it = [&](const Act &act) {
        return topic_of(act) == "account" && act.text.find(" " + file.path + " ") != std::string::npos;
    };
    return (state.mode & readable_by_all) == 0 || file.path.ends_with(".secrets") ||
           std::any_of(acts.begin(), acts.end(), works_on_it);
}

} // namespace nasplan
