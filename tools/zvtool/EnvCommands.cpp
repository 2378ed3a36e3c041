// EnvCommands.cpp - the env commands: read and change environment files through the library's
// environment file object.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <strings.h>

#include "Commands.h"
#include "EnvStore.h"
#include "Files.h"
#include "Json.h"
#include "Output.h"
#include "TarnError.h"

namespace zvtool {

namespace {

struct EnvOptions {
    std::string file;
    std::string path;  // a directory or key path, or the JSON document
    std::string value;
    std::string type;
    std::string output;
    bool json = false;
    bool sort = false;
    bool create = false;
};

using Options = std::shared_ptr<EnvOptions>;

std::string DirOrRoot(const std::string& dir) {
    return dir.empty() ? "/" : dir;
}

// The text form of a directory as the library's writer prints it (the root: its items; another
// directory: the directory itself), with LF line ends instead of the file's CR LF.
std::string PrintTextForm(EnvStore& store, DirScope& scope) {
    CZVEnvData& data = scope.Data();
    char* buffer = nullptr;
    size_t size = 0;
    FILE* memory = open_memstream(&buffer, &size);
    if (memory == nullptr) {
        throw Failure(store.Path(), "", TARN_ERR_MEMORY_OVERFLOW);
    }
    data.m_nIndent = 0;
    int ok = 1;
    if (scope.Dir() == data.GetRootDir()) {
        for (unsigned int item = data.GetNextItem(scope.Dir(), 0); ok && item != 0;
             item = data.GetNextItem(scope.Dir(), item)) {
            ok = data.PrintItem(item, memory);
        }
    } else {
        ok = data.PrintItem(scope.Dir(), memory);
    }
    ok = data.FlushLineBuffer(memory) && ok;
    std::fclose(memory);
    std::string text;
    for (size_t i = 0; i < size; ++i) {
        if (!(buffer[i] == '\r' && i + 1 < size && buffer[i + 1] == '\n')) {
            text += buffer[i];
        }
    }
    std::free(buffer);
    if (!ok) {
        throw Failure(store.Path(), "the text form could not be printed", kNoCode);
    }
    return text;
}

void Show(const EnvOptions& options) {
    EnvStore store(options.file, false);
    DirScope scope(store, DirOrRoot(options.path));
    if (options.json) {
        PrintJson(TreeToJson(scope.Data(), scope.Dir()));
    } else {
        std::cout << PrintTextForm(store, scope);
    }
}

void Get(const EnvOptions& options) {
    EnvStore store(options.file, false);
    KeyScope scope(store, options.path, false);
    EnvValue value = ReadValue(scope.Data(), scope.Require());
    if (options.json) {
        Json document = Json::object();
        document["key"] = options.path;
        document.update(ValueToJson(value));
        PrintJson(document);
    } else {
        std::cout << FormatValueText(value) << '\n';
    }
}

void Set(const EnvOptions& options) {
    ValueKind kind = ValueKind::String;
    KindFromName(options.type, kind);
    EnvValue value = ParseValueText(kind, options.value);
    EnvStore store(options.file, options.create);
    store.SetValue(options.path, value);
    store.Save();
}

// Runs one of the file object's path operations and saves the file when it succeeded.
void Change(const EnvOptions& options, bool create, int (CZVEnvFile::*operation)(const char*)) {
    EnvStore store(options.file, create);
    if (!(store.File().*operation)(options.path.c_str())) {
        throw Failure::FromLastError(options.file, options.path);
    }
    store.Save();
}

void SetLockMark(const EnvOptions& options, int lock) {
    EnvStore store(options.file, false);
    store.SetLockMark(options.path, lock != 0);
    store.Save();
}

Json EntryJson(EnvStore& store, const EnvEntry& entry) {
    Json object = Json::object();
    object["name"] = entry.name;
    object["type"] = EntryTypeName(entry);
    if (entry.IsDir()) {
        object["locked"] = entry.IsLocked();
    } else if (entry.type == ZVED_ITEM_INTEGER || entry.type == ZVED_ITEM_HEX ||
               entry.type == ZVED_ITEM_OCT || entry.type == ZVED_ITEM_BIN) {
        object["radix"] = RadixName(ReadValue(store.Data(), entry).radix);
    }
    return object;
}

void List(const EnvOptions& options) {
    EnvStore store(options.file, false);
    DirScope scope(store, DirOrRoot(options.path));
    std::vector<EnvEntry> entries = ListDirectory(scope.Data(), scope.Dir());
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [](const EnvEntry& entry) { return entry.IsComment(); }),
                  entries.end());
    if (options.sort) {
        std::stable_sort(entries.begin(), entries.end(), [](const EnvEntry& a, const EnvEntry& b) {
            return strcasecmp(a.name.c_str(), b.name.c_str()) < 0;
        });
    }
    if (options.json) {
        Json document = Json::object();
        document["dir"] = DirOrRoot(options.path);
        document["entries"] = Json::array();
        for (const EnvEntry& entry : entries) {
            document["entries"].push_back(EntryJson(store, entry));
        }
        PrintJson(document);
        return;
    }
    for (const EnvEntry& entry : entries) {
        std::printf("%-6s %s%s\n", EntryTypeName(entry), entry.name.c_str(),
                    entry.IsLocked() ? "  (locked)" : "");
    }
}

void Convert(const EnvOptions& options) {
    if (!options.output.empty() && !IsMissing(options.output)) {
        RequireRegularFile(options.output);
    }
    EnvStore store(options.file, false);
    if (!store.File().AssignFormat(options.type == "binary" ? 1 : 0)) {
        throw Failure::FromLastError(options.file);
    }
    if (options.output.empty()) {
        store.Save();
    } else {
        store.SaveTo(options.output);
    }
}

void Export(const EnvOptions& options) {
    EnvStore store(options.file, false);
    DirScope scope(store, "/");
    PrintJson(TreeToJson(scope.Data(), scope.Dir()));
}

Json ReadJsonDocument(const std::string& path) {
    std::string text;
    if (path == "-") {
        text.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    } else {
        RequireRegularFile(path);
        text = ReadFile(path);
    }
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        // The library's exception text begins with its own tag in brackets; keep the reason.
        std::string reason = error.what();
        size_t tagEnd = reason.find("] ");
        throw Failure(path,
                      Printable(tagEnd == std::string::npos ? reason : reason.substr(tagEnd + 2)),
                      kNoCode);
    }
}

void Import(const EnvOptions& options) {
    Json document = ReadJsonDocument(options.path);
    EnvStore store(options.file, options.create);
    ImportTree(store, document, "/", options.path);
    store.Save();
}

CLI::App* AddCommand(CLI::App* env, const char* name, const char* description,
                     const Options& options) {
    CLI::App* command = env->add_subcommand(name, description);
    AddFileArgument(command, "FILE", options->file, "the environment file");
    return command;
}

void AddCreateFlag(CLI::App* command, const Options& options) {
    command->add_flag("--create", options->create,
                      "start an empty file when FILE does not exist (it is written at the end)");
}

void AddShowAndGet(CLI::App* env) {
    auto options = std::make_shared<EnvOptions>();
    CLI::App* show = AddCommand(
        env, "show", "Print the tree (or DIR) in the text form, whatever the file's form", options);
    show->add_option("DIR", options->path, "directory to print (default: the whole tree)");
    AddJsonFlag(show, options->json);
    show->callback([options] { Show(*options); });

    options = std::make_shared<EnvOptions>();
    CLI::App* get = AddCommand(env, "get", "Print the value of a key", options);
    get->add_option("KEY", options->path,
                    "key path, e.g. /network/Port (nPort in the text form: n gives the type)")
        ->required();
    AddJsonFlag(get, options->json);
    get->callback([options] { Get(*options); });
}

void AddSet(CLI::App* env) {
    auto options = std::make_shared<EnvOptions>();
    CLI::App* set = AddCommand(
        env, "set", "Create a key or replace its value (and type); missing directories are created",
        options);
    set->add_option("KEY", options->path, "key path")->required();
    set->add_option("VALUE", options->value,
                    "int: decimal or 0x/0o/0b digits (the radix is kept); real; bool: true or "
                    "false; string; data: hexadecimal bytes")
        ->required();
    set->add_option("--type,-t", options->type, "the value's type")
        ->required()
        ->check(CLI::IsMember({"int", "real", "bool", "string", "data"}));
    AddCreateFlag(set, options);
    set->callback([options] { Set(*options); });
}

void AddPathCommands(CLI::App* env) {
    struct PathCommand {
        const char* name;
        const char* description;
        const char* argument;
        bool create;
        int (CZVEnvFile::*operation)(const char*);
    };
    static const PathCommand kCommands[] = {
        {"rm", "Remove a key", "KEY", false, &CZVEnvFile::RemoveKey},
        {"mkdir", "Create a directory and every missing one above it", "DIR", true,
         &CZVEnvFile::CreateDir},
        {"rmdir", "Remove a directory with everything in it", "DIR", false, &CZVEnvFile::RemoveDir},
    };
    for (const PathCommand& entry : kCommands) {
        auto options = std::make_shared<EnvOptions>();
        CLI::App* command = AddCommand(env, entry.name, entry.description, options);
        command->add_option(entry.argument, options->path, "path in the file")->required();
        if (entry.create) {
            AddCreateFlag(command, options);
        }
        const PathCommand* row = &entry;
        command->callback([options, row] { Change(*options, options->create, row->operation); });
    }
    for (int lock = 1; lock >= 0; --lock) {
        auto options = std::make_shared<EnvOptions>();
        CLI::App* command = AddCommand(
            env, lock ? "lock" : "unlock",
            lock ? "Set a directory's lock mark (a mark for host programs; nothing enforces it)"
                 : "Clear a directory's lock mark",
            options);
        command->add_option("DIR", options->path, "directory path")->required();
        command->callback([options, lock] { SetLockMark(*options, lock); });
    }
}

void AddListAndConvert(CLI::App* env) {
    auto options = std::make_shared<EnvOptions>();
    CLI::App* ls = AddCommand(
        env, "ls", "List the directories and keys of a directory (every integer radix included)",
        options);
    ls->add_option("DIR", options->path, "directory (default: the root)");
    ls->add_flag("--sort", options->sort, "sort by name, ignoring ASCII letter case");
    AddJsonFlag(ls, options->json);
    ls->callback([options] { List(*options); });

    options = std::make_shared<EnvOptions>();
    CLI::App* convert =
        AddCommand(env, "convert", "Save the file in the text or binary form", options);
    convert->add_option("--to", options->type, "the form to save")
        ->required()
        ->check(CLI::IsMember({"text", "binary"}));
    convert->add_option("-o,--output", options->output, "write OUT instead of replacing FILE");
    convert->callback([options] { Convert(*options); });
}

void AddExchange(CLI::App* env) {
    auto options = std::make_shared<EnvOptions>();
    CLI::App* exported =
        AddCommand(env, "export",
                   "Print the tree as JSON (values with their types; comments left out)", options);
    AddJsonFlag(exported, options->json);
    exported->callback([options] { Export(*options); });

    options = std::make_shared<EnvOptions>();
    CLI::App* imported = AddCommand(
        env, "import",
        "Create or update the directories and keys of a JSON document, leaving the others",
        options);
    AddFileArgument(imported, "JSON", options->path, "the JSON document (- for standard input)");
    AddCreateFlag(imported, options);
    imported->callback([options] { Import(*options); });

    options = std::make_shared<EnvOptions>();
    CLI::App* check =
        AddCommand(env, "check", "Load the file; on failure tell where reading stopped", options);
    AddJsonFlag(check, options->json);
    check->callback([options] { CheckEnvFile(options->file, options->json); });
}

}  // namespace

void AddEnvCommands(CLI::App& app) {
    CLI::App* env = app.add_subcommand("env", "Read and change environment files (ENVT, ENVB)");
    env->require_subcommand(1);
    AddShowAndGet(env);
    AddSet(env);
    AddPathCommands(env);
    AddListAndConvert(env);
    AddExchange(env);
}

}  // namespace zvtool
