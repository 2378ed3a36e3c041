// Each data set's four files, written once by the library and by the two peers.
#include "BenchFiles.h"

#include <glib.h>
#include <libconfig.h>

#include <cstdio>
#include <cstring>
#include <map>

#include "ZVFileAccess.h"

namespace zvbench {

namespace {

bool SetOurValue(ZVEV_HANDLE handle, const Setting& setting) {
    const std::string path = OurPath(setting);
    switch (setting.type) {
        case ValueType::kInteger:
            return ZVEVSetInteger(handle, path.c_str(), setting.integer) == 1;
        case ValueType::kReal:
            return ZVEVSetDouble(handle, path.c_str(), setting.real) == 1;
        case ValueType::kBoolean:
            return ZVEVSetBoolean(handle, path.c_str(), setting.boolean ? 1 : 0) == 1;
        case ValueType::kString:
            return ZVEVSetString(handle, path.c_str(), setting.text.c_str()) == 1;
        case ValueType::kBinary:
            return ZVEVSetData(handle, path.c_str(), setting.bytes.data(),
                               static_cast<unsigned int>(setting.bytes.size())) == 1;
    }
    return false;
}

bool StartsWith(const std::string& path, const char* tag) {
    FILE* file = std::fopen(path.c_str(), "rb");
    char head[4] = {0, 0, 0, 0};
    const bool read = file != nullptr && std::fread(head, 1, 4, file) == 4;
    if (file != nullptr) {
        std::fclose(file);
    }
    return read && std::memcmp(head, tag, 4) == 0;
}

void SetKeyFileValue(GKeyFile* file, const Setting& setting) {
    const char* group = setting.dir.c_str();
    const char* key = setting.name.c_str();
    switch (setting.type) {
        case ValueType::kInteger:
            g_key_file_set_integer(file, group, key, setting.integer);
            break;
        case ValueType::kReal:
            g_key_file_set_double(file, group, key, setting.real);
            break;
        case ValueType::kBoolean:
            g_key_file_set_boolean(file, group, key, setting.boolean ? TRUE : FALSE);
            break;
        case ValueType::kString:
            g_key_file_set_string(file, group, key, setting.text.c_str());
            break;
        case ValueType::kBinary: {
            std::vector<gint> list(setting.bytes.begin(), setting.bytes.end());
            g_key_file_set_integer_list(file, group, key, list.data(), list.size());
            break;
        }
    }
}

// The group of a leaf directory, created with its parents on first use.
config_setting_t* ConfigGroup(config_t* config, const std::string& dir,
                              std::map<std::string, config_setting_t*>* groups) {
    auto found = groups->find(dir);
    if (found != groups->end()) {
        return found->second;
    }
    const size_t slash = dir.rfind('/');
    config_setting_t* parent = slash == std::string::npos
                                   ? config_root_setting(config)
                                   : ConfigGroup(config, dir.substr(0, slash), groups);
    const std::string name = slash == std::string::npos ? dir : dir.substr(slash + 1);
    config_setting_t* group =
        parent != nullptr ? config_setting_add(parent, name.c_str(), CONFIG_TYPE_GROUP) : nullptr;
    (*groups)[dir] = group;
    return group;
}

bool AddConfigValue(config_setting_t* group, const Setting& setting) {
    static const int kTypes[] = {CONFIG_TYPE_INT, CONFIG_TYPE_FLOAT, CONFIG_TYPE_BOOL,
                                 CONFIG_TYPE_STRING, CONFIG_TYPE_ARRAY};
    config_setting_t* value =
        config_setting_add(group, setting.name.c_str(), kTypes[static_cast<int>(setting.type)]);
    if (value == nullptr) {
        return false;
    }
    switch (setting.type) {
        case ValueType::kInteger:
            return config_setting_set_int(value, setting.integer) == CONFIG_TRUE;
        case ValueType::kReal:
            return config_setting_set_float(value, setting.real) == CONFIG_TRUE;
        case ValueType::kBoolean:
            return config_setting_set_bool(value, setting.boolean ? 1 : 0) == CONFIG_TRUE;
        case ValueType::kString:
            return config_setting_set_string(value, setting.text.c_str()) == CONFIG_TRUE;
        case ValueType::kBinary:
            for (unsigned char byte : setting.bytes) {
                config_setting_t* element = config_setting_set_int_elem(value, -1, byte);
                if (element == nullptr) {
                    return false;
                }
                config_setting_set_format(element, CONFIG_FORMAT_HEX);
            }
            return true;
    }
    return false;
}

}  // namespace

bool WriteOurFiles(const DataSet& data) {
    std::remove(data.ourText.c_str());
    ZVEV_HANDLE handle = nullptr;
    if (ZVEVOpenFile(data.ourText.c_str(), &handle) != 1) {
        return false;
    }
    bool ok = true;
    for (const Setting& setting : data.settings) {
        ok = ok && SetOurValue(handle, setting);
    }
    ok = ok && ZVEVFlush(handle) == 1 && ZVEVAssignFormat(handle, 1) == 1 &&
         ZVEVSaveAs(handle, data.ourBinary.c_str()) == 1;
    ok = ZVEVClose(handle) == 1 && ok;
    return ok && StartsWith(data.ourText, "ENVT") && StartsWith(data.ourBinary, "ENVB");
}

bool WriteKeyFile(const DataSet& data) {
    GKeyFile* file = g_key_file_new();
    for (const Setting& setting : data.settings) {
        SetKeyFileValue(file, setting);
    }
    const gboolean saved = g_key_file_save_to_file(file, data.keyFile.c_str(), nullptr);
    g_key_file_free(file);
    return saved == TRUE;
}

bool WriteConfigFile(const DataSet& data) {
    config_t config;
    config_init(&config);
    std::map<std::string, config_setting_t*> groups;
    bool ok = true;
    for (const Setting& setting : data.settings) {
        config_setting_t* group = ConfigGroup(&config, setting.dir, &groups);
        ok = ok && group != nullptr && AddConfigValue(group, setting);
    }
    ok = ok && config_write_file(&config, data.libconfig.c_str()) == CONFIG_TRUE;
    config_destroy(&config);
    return ok;
}

}  // namespace zvbench
