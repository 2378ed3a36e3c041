// Json.h - environment trees and values as JSON documents, for export, import and --json.
//
// A directory is an object whose members are its directories and keys in storage order; a
// locked directory also has the member "@locked": true. A key is an object with its type and
// value: {"type": "int", "radix": "hex", "value": 31} (hexadecimal, octal and binary integers
// as their 32 bits from 0 to 4294967295, decimal ones signed), {"type": "real", "value": 0.15},
// {"type": "bool", "value": true}, {"type": "string", "value": "text"}, {"type": "data",
// "value": "0a1bff"}. A string that is not UTF-8 is {"type": "string", "encoding": "hex",
// "value": "<its bytes in hexadecimal>"}; a real that is not finite has the value "nan", "inf"
// or "-inf". Comments are left out. When a directory shares its name with a key beside it, the
// directory's member name ends in "/".
#ifndef ZVTOOL_JSON_H
#define ZVTOOL_JSON_H

#include <string>

#include "EnvStore.h"
#include "EnvValue.h"
#include "Output.h"

namespace zvtool {

Json ValueToJson(const EnvValue& value);
// Reads a key object. where names it in messages; a document that is not a key object throws a
// Failure for subject with no code.
EnvValue ValueFromJson(const Json& object, const std::string& subject, const std::string& where);
// The directory dir of a locked, well-formed store and everything below it.
Json TreeToJson(CZVEnvData& data, unsigned int dir);
// Creates or updates the directories and keys of document (a directory object) under the
// absolute directory path dir ("/" for the root), leaving everything else as it is. subject
// names the document in messages.
void ImportTree(EnvStore& store, const Json& document, const std::string& dir,
                const std::string& subject);

}  // namespace zvtool

#endif  // ZVTOOL_JSON_H
