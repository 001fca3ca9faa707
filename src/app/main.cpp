#include "app/VeloranApp.h"

int main(int argc, char **argv)
{
    return CVeloranApp::Run(argc, argv);
}
