// schema: what the JSON of messages is like.
#include "commands.h"
#include "failure.h"
#include "files.h"
#include "schemas.h"

namespace ptpcfg {

void write_schema(const schema_options &options) {
    const std::string text = options.language == schema_language::yang
                                 ? yang_module()
                                 : json_schema(options.name.empty() ? nullptr : type_named(options.name));
    write_output(options.output, text);
}

}  // namespace ptpcfg
