// velor convert, velor render, velor resample
#include "app/cli/arguments.h"
#include "app/cli/convert_inputs.h"
#include "app/cli/terminal.h"
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

int runResample(const Arguments& arguments) {
    if (arguments.has("rate") == arguments.has("length"))
        return usageError("resample", "say either --rate HZ or --length FRAMES");
    return convertInputs(arguments, arguments.positionals, {});
}

}  // namespace velor::cli
