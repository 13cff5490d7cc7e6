#include "tools/lumoctl/generate.hpp"

#include <algorithm>
#include <cstdio>

#include <glib.h>

#include "tools/lumoctl/registry.hpp"

namespace lumoctl {

namespace {

using lumo::gw::Type;

const Entry *base_of(const std::string &object)
{
    for (const Entry &e : entries())
        if (object == e.object && !*e.layout)
            return &e;
    return nullptr;
}

// A value of the field's type, for examples.
const char *sample(const Field &f)
{
    switch (f.type) {
    case Type::Bool: return "true";
    case Type::Str: return "text";
    case Type::StrList: return "a,b";
    case Type::Bytes: return "0a0b";
    case Type::Double: return "1.5";
    default: return "1";
    }
}

std::string words(const std::vector<std::string> &list)
{
    std::string out;
    for (const std::string &w : list)
        out += (out.empty() ? "" : " ") + w;
    return out;
}

std::vector<std::string> long_options(const CLI::App &app)
{
    std::vector<std::string> out;
    for (const CLI::Option *o : app.get_options())
        for (const std::string &n : o->get_lnames())
            out.push_back("--" + n);
    return out;
}

// Collections whose instance paths a shell may complete: listed without a parent.
bool lists_paths(const Entry *e)
{
    return e && e->list && (e->get_at || e->set_at || e->del);
}

int completion(CLI::App &app)
{
    std::vector<std::string> objects;
    for (const CLI::App *sub : app.get_subcommands({}))
        objects.push_back(sub->get_name());
    std::printf("# bash completion for lumoctl, generated from its registry. -*- shell-script -*-\n\n");
    std::printf("_lumoctl_objects='%s'\n", words(objects).c_str());
    std::printf("_lumoctl_globals='%s'\n\n", words(long_options(app)).c_str());
    std::printf("# Verbs of an object; options of a verb; writable fields (NAME=) of an object;\n"
                "# whether its instances can be listed.\n");
    std::printf("_lumoctl_verbs() {\n    case $1 in\n");
    for (const CLI::App *sub : app.get_subcommands({})) {
        std::vector<std::string> verbs;
        for (const CLI::App *v : sub->get_subcommands({}))
            verbs.push_back(v->get_name());
        std::printf("    %s) echo '%s' ;;\n", sub->get_name().c_str(), words(verbs).c_str());
    }
    std::printf("    esac\n}\n_lumoctl_options() {\n    case \"$1 $2\" in\n");
    for (const CLI::App *sub : app.get_subcommands({}))
        for (const CLI::App *v : sub->get_subcommands({}))
            std::printf("    '%s %s') echo '%s' ;;\n", sub->get_name().c_str(), v->get_name().c_str(),
                        words(long_options(*v)).c_str());
    std::printf("    esac\n}\n_lumoctl_fields() {\n    case $1 in\n");
    for (const std::string &object : objects) {
        const Entry *e = base_of(object);
        if (!e || e->writable.empty())
            continue;
        std::vector<std::string> names;
        for (const Field &f : e->writable)
            names.push_back(std::string(f.name) + "=");
        std::printf("    %s) echo '%s' ;;\n", object.c_str(), words(names).c_str());
    }
    std::printf("    esac\n}\n_lumoctl_listed() {\n    case $1 in\n");
    std::vector<std::string> listed;
    for (const std::string &object : objects)
        if (lists_paths(base_of(object)))
            listed.push_back(object);
    std::string alternatives = words(listed);
    std::replace(alternatives.begin(), alternatives.end(), ' ', '|');
    std::printf("    %s) return 0 ;;\n    esac\n    return 1\n}\n\n", alternatives.c_str());
    // The live part asks the gateway with a one-second limit, with the bus options
    // given so far, and completes nothing when it does not answer.
    std::printf("%s", R"SH(_lumoctl() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
    local object= verb= args=0 i w
    local -a bus=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        w=${COMP_WORDS[i]}
        case $w in
        --address|--root) bus+=("$w" "${COMP_WORDS[i+1]}"); ((i++)); continue ;;
        --timeout|--password-file) ((i++)); continue ;;
        -*) continue ;;
        esac
        if [[ -z $object ]]; then object=$w
        elif [[ -z $verb ]]; then verb=$w
        else ((args++))
        fi
    done
    case $prev in
    --root|--password-file) COMPREPLY=($(compgen -f -- "$cur")); return ;;
    --address|--timeout) COMPREPLY=(); return ;;
    esac
    if [[ -z $object ]]; then
        COMPREPLY=($(compgen -W "$_lumoctl_objects $_lumoctl_globals" -- "$cur"))
    elif [[ -z $verb ]]; then
        COMPREPLY=($(compgen -W "$(_lumoctl_verbs "$object") --help" -- "$cur"))
    elif [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$(_lumoctl_options "$object" "$verb") $_lumoctl_globals" -- "$cur"))
    else
        local candidates=
        case $verb in
        set|add) candidates=$(_lumoctl_fields "$object") ;;
        esac
        if [[ $args == 0 && $verb =~ ^(get|set|delete)$ ]] && _lumoctl_listed "$object"; then
            candidates+=" $(lumoctl "${bus[@]}" --timeout 1 "$object" list 2>/dev/null |
                             sed -n 's/^path  *//p')"
        fi
        COMPREPLY=($(compgen -W "$candidates" -- "$cur"))
        [[ ${#COMPREPLY[@]} == 1 && ${COMPREPLY[0]} == *= ]] && type compopt &>/dev/null && compopt -o nospace
    fi
}
complete -F _lumoctl lumoctl
)SH");
    return 0;
}

// Text for roff: backslashes and minus signs escaped, no line starting with a
// control character.
std::string roff(const std::string &text)
{
    std::string out;
    for (char c : text) {
        if (c == '\\')
            out += "\\e";
        else if (c == '-')
            out += "\\-";
        else
            out += c;
    }
    std::string safe;
    size_t start = 0;
    while (start <= out.size()) {
        size_t end = out.find('\n', start);
        std::string line = out.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (!line.empty() && (line[0] == '.' || line[0] == '\''))
            line = "\\&" + line;
        safe += line;
        if (end == std::string::npos)
            break;
        safe += "\n";
        start = end + 1;
    }
    return safe;
}

int manual(CLI::App &app, const char *exit_codes)
{
    std::printf(".TH LUMOCTL 1 \"\" \"liblumo3\" \"User Commands\"\n");
    std::printf(".SH NAME\nlumoctl \\- read and change a home gateway's objects and run its commands\n");
    std::printf(".SH SYNOPSIS\n.B lumoctl\n[\\fIOPTIONS\\fR] \\fIOBJECT\\fR \\fIVERB\\fR [\\fIARGUMENTS\\fR...]\n");
    std::printf(".SH DESCRIPTION\n%s\n.PP\nEvery object below has its own help: \\fBlumoctl \\fIOBJECT\\fB "
                "\\-\\-help\\fR and \\fBlumoctl \\fIOBJECT VERB\\fB \\-\\-help\\fR.\n",
                roff(app.get_description()).c_str());
    std::printf(".SH OPTIONS\n");
    for (const CLI::Option *o : app.get_options()) {
        std::string names;
        for (const std::string &n : o->get_lnames())
            names += (names.empty() ? "" : ", ") + std::string("\\-\\-") + n;
        std::printf(".TP\n.B %s%s\n%s\n", names.c_str(), o->get_type_size() ? " \\fIVALUE\\fR" : "",
                    roff(o->get_description()).c_str());
    }
    std::printf(".SH OBJECTS\n");
    for (const CLI::App *sub : app.get_subcommands({})) {
        std::printf(".TP\n.B %s\n%s\n", roff(sub->get_name()).c_str(), roff(sub->get_description()).c_str());
        for (const CLI::App *v : sub->get_subcommands({}))
            std::printf(".br\n\\fB%s\\fR: %s\n", roff(v->get_name()).c_str(), roff(v->get_description()).c_str());
    }
    std::string codes = exit_codes;
    codes = codes.substr(codes.find('\n') + 1);
    std::printf(".SH EXIT STATUS\n.nf\n%s\n.fi\n", roff(codes).c_str());
    std::printf("%s", R"(.SH ENVIRONMENT
.TP
.B DBUS_SYSTEM_BUS_ADDRESS
the gateway's system bus (\fB\-\-address\fR sets it); when unset, the address in
\fI/var/run/dbus/server_address\fR below \fBLUMO_SYSROOT\fR is used if that file exists
.TP
.B LUMO_SYSROOT
redirected root directory for the gateway's files (\fB\-\-root\fR sets it)
)");
    std::printf(".SH EXAMPLES\n");
    for (const auto &[object, verb] : std::vector<std::pair<std::string, std::string>>{
             {"device", "get"}, {"portmap", "list"}, {"portmap", "add"}, {"portmap", "set"}, {"lanhost", "get"},
             {"system", "reboot"}})
        std::printf(".PP\n.nf\n%s\n.fi\n", roff(example(object, verb)).c_str());
    std::printf(".SH SEE ALSO\n.BR lumo\\-gwsim (1)\n");
    return 0;
}

}  // namespace

std::string example(const std::string &object, const std::string &verb)
{
    std::string out = "lumoctl " + object + " " + verb;
    const Entry *e = base_of(object);
    if (e && (verb == "get" || verb == "set" || verb == "delete")) {
        if (!e->keys.empty() && verb != "set") {
            const Key &k = e->keys.front();
            std::string value = k.flag ? "" : std::string(" ") + k.option;
            for (char &ch : value)
                ch = static_cast<char>(g_ascii_toupper(ch));
            out += " --" + std::string(k.option) + value;
        } else if (!e->get && !e->set) {
            out += " PATH";
        }
    }
    if (e && e->list_at && (verb == "list" || verb == "add"))
        out += " PARENT";
    if (e && (verb == "set" || verb == "add"))
        for (size_t i = 0; i < e->writable.size() && i < 2; ++i)
            out += " " + std::string(e->writable[i].name) + "=" + sample(e->writable[i]);
    if (verb == "delete")
        out += " --yes";
    for (const Command &c : commands())
        if (object == c.object && verb == c.name) {
            for (const char *a : c.args)
                if (!is_password(a))
                    out += std::string(" ") + a;
            if (c.destructive)
                out += " --yes";
        }
    return out;
}

bool is_password(const std::string &name)
{
    std::string lower(name);
    for (char &c : lower)
        c = static_cast<char>(g_ascii_tolower(c));
    return lower.find("passw") != std::string::npos || lower.find("pwd") != std::string::npos;
}

int generate(CLI::App &app, const std::string &kind, const char *exit_codes)
{
    if (kind == "bash-completion")
        return completion(app);
    if (kind == "man")
        return manual(app, exit_codes);
    std::fprintf(stderr, "lumoctl: --generate takes bash-completion or man\n");
    return 2;
}

}  // namespace lumoctl
