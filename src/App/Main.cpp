// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include "App/QuillbrookApp.h"

int main(int argumentCount, char** arguments) {
  return quillbrook::QuillbrookApp::runProcess(std::vector<std::string>(arguments, arguments + argumentCount));
}
