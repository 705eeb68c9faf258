// Export marker of the sensor module: what the host process may link against.
#ifndef MODULE_SENSORAPI_H
#define MODULE_SENSORAPI_H

// The library is built with hidden symbols by default, so only what carries
// this marker reaches the host; internal helpers stay free to change.
#if defined(__GNUC__) || defined(__clang__)
#define SENSOR_API __attribute__((visibility("default")))
#else
#define SENSOR_API
#endif

#endif
