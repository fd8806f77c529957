// Report boxes, with a user who reads them and presses a button, and what the
// notifications of Windows give threads. A box ends the process or not, so every
// case runs in a process of its own.
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "zylqx.h"

namespace {

BOOL CALLBACK takeBox(HWND window, LPARAM box) {
    DWORD process = 0;
    char kind[16] = "";
    GetWindowThreadProcessId(window, &process);
    GetClassNameA(window, kind, sizeof kind);
    if (process != GetCurrentProcessId() || std::string(kind) != "#32770") return TRUE;
    if (!IsWindowVisible(window)) return TRUE;
    *reinterpret_cast<HWND *>(box) = window;
    return FALSE;
}

// A message box of this process, or null.
HWND findBox() {
    HWND box = nullptr;
    EnumWindows(takeBox, reinterpret_cast<LPARAM>(&box));
    return box;
}

BOOL CALLBACK addText(HWND window, LPARAM seen) {
    char text[1024] = "";
    GetWindowTextA(window, text, sizeof text);
    if (*text != 0) *reinterpret_cast<std::string *>(seen) += std::string(text) + "|";
    return TRUE;
}

// What the user sees, in one line: the caption, each text and each button.
std::string read(HWND box) {
    std::string seen;
    addText(box, reinterpret_cast<LPARAM>(&seen));
    EnumChildWindows(box, addText, reinterpret_cast<LPARAM>(&seen));
    if ((GetWindowLongA(box, GWL_EXSTYLE) & WS_EX_TOPMOST) != 0) seen += "on top|";
    std::replace(seen.begin(), seen.end(), '\n', '/');
    return seen;
}

// Reads the boxes that come up one after the other, and presses a button of each.
void serve(const std::vector<WORD> &buttons) {
    for (const WORD button : buttons) {
        HWND box = nullptr;
        while ((box = findBox()) == nullptr)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        std::fprintf(stderr, "%s ", read(box).c_str());
        std::fflush(stderr);
        PostMessageA(box, WM_COMMAND, button, 0);
        while (IsWindow(box)) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

struct User {
    explicit User(const std::vector<WORD> &buttons) : thread([=] { serve(buttons); }) {}
    ~User() { thread.join(); }
    std::thread thread;
};

// Ends with 7 if the report returns.
[[noreturn]] void reportTo(const std::vector<WORD> &buttons, std::int32_t mode) {
    {
        const User user(buttons);
        zylSetErrMode(mode);
        zylSetErrStatus(ZYL_StsNoMem);
        zylGuiBoxReport(ZYL_StsBadArg, "zylAdd", "(a != b)", "zyladd", 42);
    }
    std::exit(7);
}

bool goesOn(int code) {
    return code == 7;
}
bool ends(int code) {
    return code == 1;
}

TEST(BoxDeathTest, TheButtonDecides) {
    const std::string report = "ZYL Library Error: Out of memory\\|.*"
                               "in function .zyladd:42.:zylAdd\\(\\):/\\(a != b\\)//ErrMode=";
    const std::string leaf = report + "ZYL_ErrorModeLeaf//Terminate the application\\?\\|on top";
    const std::string parent = report + "ZYL_ErrorModeParent//Continue\\?\\|on top";
    const std::string last = ".*ZYL Library:/terminating the application";
    EXPECT_EXIT(reportTo({IDNO}, ZYL_ErrModeLeaf), goesOn, leaf);
    EXPECT_EXIT(reportTo({IDYES, IDOK}, ZYL_ErrModeLeaf), ends, leaf + last);
    EXPECT_EXIT(reportTo({IDOK}, ZYL_ErrModeParent), goesOn, parent);
    EXPECT_EXIT(reportTo({IDCANCEL, IDOK}, ZYL_ErrModeParent), ends, parent + last);
    EXPECT_EXIT(reportTo({}, ZYL_ErrModeSilent), goesOn, "^$");
}

TEST(Threads, LoseTheirContextWithTheirEnd) {
    ZylContext *context = nullptr;
    std::thread([&] {
        context = zylUndContext();
        EXPECT_TRUE(HeapValidate(GetProcessHeap(), 0, context));
    }).join();
    EXPECT_FALSE(HeapValidate(GetProcessHeap(), 0, context));
}

// The dynamic library, which the notifications reach.
struct Loaded {
    HMODULE module = LoadLibraryA("zylqx.dll");
    template <class F>
    F *function(const char *name) const {
        return reinterpret_cast<F *>(reinterpret_cast<void *>(GetProcAddress(module, name)));
    }
    decltype(zylUndContext) *context = function<decltype(zylUndContext)>("zylUndContext");
};

TEST(Threads, OfALoadedLibraryHaveTheirOwnContext) {
    const Loaded library;
    ASSERT_NE(library.context, nullptr);
    library.context()->mode = ZYL_ErrModeSilent;
    std::thread([&] {
        EXPECT_NE(library.context(), nullptr);
        EXPECT_EQ(library.context()->mode, ZYL_ErrModeLeaf);
    }).join();
    EXPECT_EQ(library.context()->mode, ZYL_ErrModeSilent);
    EXPECT_TRUE(FreeLibrary(library.module));
}

// Ends with 7 if a thread may call that ran before the library was loaded.
[[noreturn]] void callFromOlderThread() {
    const User user({IDOK, IDOK});
    const HANDLE runs = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    const HANDLE loaded = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    decltype(zylUndContext) *context = nullptr;
    std::thread older([&] {
        SetEvent(runs);
        WaitForSingleObject(loaded, INFINITE);
        context();
    });
    WaitForSingleObject(runs, INFINITE);
    context = Loaded().context;
    SetEvent(loaded);
    older.join();
    std::exit(7);
}

TEST(ThreadsDeathTest, OlderThanTheLibraryEndTheProcess) {
    EXPECT_EXIT(
        callFromOlderThread(), ends,
        "NULL\\|.*pZylContext.*ZYL Library error:/Bad ZYL Context/Terminating the application");
}

} // namespace
