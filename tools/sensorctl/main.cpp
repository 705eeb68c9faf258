// sensorctl: runs the cameras' channels of the sensor module on the simulated host from the command line.
#include "app.h"

int main(int argc, char** argv)
{
    sensorctl::App app;
    int status = app.init(argc, argv);
    if (status < 0) status = app.exec();
    app.cleanup();
    return status;
}
