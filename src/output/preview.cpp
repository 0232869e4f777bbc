// The preview window: shows the beauty image in sRGB, row 0 at the top, while the idle function of
// the window library renders. Lives as long as one call of RunPreview.
// SPDX-License-Identifier: MIT
#include "output/preview.h"

#include "math/stop.h"
#include "output/camera.h"
#include "output/display.h"
#include "output/image_writer.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/report.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <GL/freeglut.h>

namespace mh {

namespace {

constexpr auto kPauseWhenDone = std::chrono::milliseconds(20); // keys wait no longer

struct WindowFault {
    std::string reason;
};

// freeglut ends the process when this returns. Its frames hold nothing that needs unwinding.
[[noreturn]] void raise_fault(const char* format, std::va_list arguments) {
    char reason[256] = {};
    std::vsnprintf(reason, sizeof reason, format, arguments);
    throw WindowFault{reason};
}

void draw() {
    const Camera* camera = ActiveCamera();
    if (camera == nullptr) return;
    const Image& beauty = camera->aovs[0].image;
    if (beauty.floats.empty() || beauty.channels != 3) return;
    glRasterPos2i(-1, 1); // the top left corner
    glPixelZoom(1.0f, -1.0f);
    std::vector<std::uint8_t> bytes;
    ToDisplay(beauty, Preview.stops, bytes);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1); // rows follow each other without a gap
    glDrawPixels(beauty.width, beauty.height, GL_RGB, GL_UNSIGNED_BYTE, bytes.data());
    glutSwapBuffers();
    glFlush();
}

void press(unsigned char key, int, int) {
    Preview.stops = exposure_after(key, Preview.stops);
    char title[64] = {};
    std::snprintf(title, sizeof title, "moonhare, exposure %+.1f",
                  static_cast<double>(Preview.stops));
    glutSetWindowTitle(title);
    glutPostRedisplay();
}

// The loop still calls this once after the window is gone.
void run_idle() {
    if (glutGetWindow() == 0) return;
    const bool is_new = Preview.next_frame();
    if (!is_new) std::this_thread::sleep_for(kPauseWhenDone);
    if (stop_requested()) glutLeaveMainLoop();
    if (is_new && glutGetWindow() != 0) glutPostRedisplay();
}

void open_window() {
    int count = 1;
    char name[] = "moonhare";
    char* arguments[] = {name, nullptr};
    const Camera& camera = *ActiveCamera();
    glutInitErrorFunc(raise_fault);
    glutInit(&count, arguments);
    glutSetOption(GLUT_ACTION_ON_WINDOW_CLOSE, GLUT_ACTION_GLUTMAINLOOP_RETURNS);
    glutInitWindowSize(std::max(camera.width, 1), std::max(camera.height, 1));
    glutInitDisplayMode(GLUT_DOUBLE);
    glutCreateWindow(name);
    glutDisplayFunc(draw);
    glutKeyboardFunc(press);
    glutIdleFunc(run_idle);
}

} // namespace

bool RunPreview(bool (*frame)()) {
    Preview = {frame};
    try {
        open_window();
        Preview.is_open = Preview.was_shown = true;
        glutMainLoop();
    } catch (const WindowFault& fault) {
        Preview.is_open = false;
        glutExit(); // forgets a display that was opened, so that a later window may try again
        ReportError("preview - no window: " + fault.reason + "; rendering goes on without it");
        return false;
    }
    Preview.is_open = false;
    return true;
}

bool PreviewIsOpen() {
    return Preview.is_open;
}

bool PreviewWasShown() {
    return Preview.was_shown;
}

} // namespace mh
