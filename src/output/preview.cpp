// The preview window: shows the linear beauty image, row 0 at the top, while the idle function of
// the window library renders. Lives as long as one call of RunPreview.
// SPDX-License-Identifier: MIT
#include "output/preview.h"

#include "math/stop.h"
#include "output/camera.h"
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

#include <GL/freeglut.h>

namespace mh {

namespace {

constexpr auto kPauseWhenDone = std::chrono::milliseconds(20); // 50 redraws a second at most

struct WindowFault {
    std::string reason;
};

// freeglut ends the process when this returns. Its frames hold nothing that needs unwinding.
[[noreturn]] void raise_fault(const char* format, std::va_list arguments) {
    char reason[256] = {};
    std::vsnprintf(reason, sizeof reason, format, arguments);
    throw WindowFault{reason};
}

// Linear values, clipped by the graphics library.
void draw() {
    const Camera* camera = ActiveCamera();
    if (camera == nullptr) return;
    const Image& beauty = camera->aovs[0].image;
    if (beauty.floats.empty() || beauty.channels != 3) return;
    glRasterPos2i(-1, 1); // the top left corner
    glPixelZoom(1.0f, -1.0f);
    glDrawPixels(beauty.width, beauty.height, GL_RGB, GL_FLOAT, beauty.floats.data());
    glutSwapBuffers();
    glFlush();
}

// The loop still calls this once after the window is gone.
void run_idle() {
    if (glutGetWindow() == 0) return;
    if (!Preview.next_frame()) std::this_thread::sleep_for(kPauseWhenDone);
    if (stop_requested()) glutLeaveMainLoop();
    if (glutGetWindow() != 0) glutPostRedisplay();
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
