// velor convert, velor render
#include "app/cli/arguments.h"
#include "app/cli/convert_inputs.h"
#include "app/cli/verbs.h"

namespace velor::cli {

int runConvert(const Arguments& arguments) {
    return convertInputs(arguments, arguments.positionals, {});
}

int runRender(const Arguments& arguments) {
    ConvertRequest request;
    request.songsOnly = true;
    return convertInputs(arguments, arguments.positionals, std::move(request));
}

}  // namespace velor::cli
