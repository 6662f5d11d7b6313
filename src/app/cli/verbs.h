// What each verb runs. Every function returns an ExitCode.
#pragma once

namespace velor::cli {

class Arguments;

int runConvert(const Arguments& arguments);
int runRender(const Arguments& arguments);
int runResample(const Arguments& arguments);
int runProcess(const Arguments& arguments);
int runTune(const Arguments& arguments);
int runLoop(const Arguments& arguments);
int runInfo(const Arguments& arguments);
int runIdentify(const Arguments& arguments);
int runFormats(const Arguments& arguments);
int runSettings(const Arguments& arguments);
int runDemo(const Arguments& arguments);
int runCompletion(const Arguments& arguments);
int runHelp(const Arguments& arguments);

}  // namespace velor::cli
