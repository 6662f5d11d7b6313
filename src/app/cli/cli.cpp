#include "app/cli/cli.h"
