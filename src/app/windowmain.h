#pragma once

namespace iconfoundry {

// The desktop application, from its QApplication to the end of its event loop. It lives in the
// window module ("libiconfoundry-window.so" in lib/iconfoundry beside the executable's folder, or
// the file ICONFOUNDRY_WINDOW_MODULE names), which main() loads only when a window is wanted, so
// that the command line starts without Qt Widgets, Qt Network and what they bring.
struct WindowModule
{
    static constexpr char fileName[] = "libiconfoundry-window.so";
    static constexpr char pathVariable[] = "ICONFOUNDRY_WINDOW_MODULE";
    static constexpr char runFunctionName[] = "iconfoundry_runWindowApplication";
    using Run = int (*)(int argc, char** argv);
};

} // namespace iconfoundry

extern "C" int iconfoundry_runWindowApplication(int argc, char** argv);
