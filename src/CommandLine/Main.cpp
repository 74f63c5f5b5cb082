// SPDX-License-Identifier: MIT
#include "CommandLine/CommandLine.h"

int main(int argumentCount, char** arguments) {
  return quillbrook::CommandLine::runProcess(argumentCount, arguments);
}
