// The plug-in of the preview window: freeglut's main loop around the library's frames.
// SPDX-License-Identifier: MIT
#include "output/preview_window.h"

#include <algorithm>
#include <chrono>
#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <thread>

#include <GL/freeglut.h>

namespace mh {

namespace {

constexpr auto kPauseWhenDone = std::chrono::milliseconds(20); // keys wait no longer

struct Window {
    const PreviewHost* host = nullptr;
    char* reason = nullptr;
    std::size_t reason_bytes = 0;
    std::jmp_buf without_window; // where a fault of the window library goes on
};

Window window;

// freeglut goes on with a null display when this returns, and its C frames unwind for no exception.
// Between here and the jump's target no frame holds anything that has to be destroyed.
[[noreturn]] void raise_fault(const char* format, std::va_list arguments) {
    std::vsnprintf(window.reason, window.reason_bytes, format, arguments);
    std::longjmp(window.without_window, 1);
}

void draw() {
    std::int32_t width = 0, height = 0;
    const std::uint8_t* pixels = window.host->pixels(width, height);
    if (pixels == nullptr) return;
    glRasterPos2i(-1, 1); // the top left corner
    glPixelZoom(1.0f, -1.0f);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1); // rows follow each other without a gap
    glDrawPixels(width, height, GL_RGB, GL_UNSIGNED_BYTE, pixels);
    glutSwapBuffers();
    glFlush();
}

void press(unsigned char key, int, int) {
    glutSetWindowTitle(window.host->press(key));
    glutPostRedisplay();
}

// The loop still calls this once after the window is gone.
void run_idle() {
    if (glutGetWindow() == 0) return;
    const bool is_new = window.host->next_frame();
    if (!is_new) std::this_thread::sleep_for(kPauseWhenDone);
    if (window.host->must_close()) glutLeaveMainLoop();
    if (is_new && glutGetWindow() != 0) glutPostRedisplay();
}

void open_window() {
    int count = 1;
    char name[] = "moonhare";
    char* arguments[] = {name, nullptr};
    glutInitErrorFunc(raise_fault);
    glutInit(&count, arguments);
    glutSetOption(GLUT_ACTION_ON_WINDOW_CLOSE, GLUT_ACTION_GLUTMAINLOOP_RETURNS);
    glutInitWindowSize(std::max(window.host->width, 1), std::max(window.host->height, 1));
    glutInitDisplayMode(GLUT_DOUBLE);
    glutCreateWindow(name);
    glutDisplayFunc(draw);
    glutKeyboardFunc(press);
    glutIdleFunc(run_idle);
}

bool run(const PreviewHost& host, char* reason, std::size_t reason_bytes) {
    window.host = &host;
    window.reason = reason;
    window.reason_bytes = reason_bytes;
    if (setjmp(window.without_window) != 0) {
        glutExit(); // forgets a display that was opened, so that a later window may try again
        return false;
    }
    open_window();
    host.opened();
    glutMainLoop();
    return true;
}

} // namespace

extern "C" [[gnu::visibility("default")]] const PreviewWindowPlugin kMoonharePreviewWindow = {
    kPreviewWindowVersion, run};

} // namespace mh
