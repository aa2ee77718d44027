#include "Apps/CommandLine/CProgram.h"

int main(int argumentCount, char** arguments)
{
    return static_cast<int>(CommandLine::CProgram::Run(argumentCount, arguments));
}
