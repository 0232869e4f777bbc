/* Renders by exported calls while allocations fail, ends the scene and does all of it a second
 * time: says so when the second picture is there.
 * SPDX-License-Identifier: MIT */
#include <moonhare.h>
#include <stdio.h>
#include <unistd.h>

static void render(void) {
    const float corners[] = {-1, -1, 0, 1, -1, 0, 1, 1, 0, -1, 1, 0};
    const int quad[] = {0, 1, 2, 3};
    mhStartup();
    const int shader = mhAddShader();
    mhSetShaderName(shader, "grey");
    mhAddSurfaceShader(shader);
    const int object = mhAddObject(), part = mhAddPart(object), camera = mhAddCamera();
    mhSetObjectName(object, "floor with a name that needs memory");
    mhAddPositions(object, part, 4, corners);
    mhAddTetragons(object, part, 1, quad);
    mhSetShaderID(object, part, shader);
    mhSetCameraResolution(camera, 12, 9);
    mhSetCameraSample(camera, 2);
    const int aov = mhAddCameraAOV(camera);
    mhSetCameraAOVName(camera, aov, "second.exr");
    mhSetPointLightPosition(mhAddPointLight(), 0, 0, 2);
    mhSetSkyLightPhoton(100);
    mhInitialize();
    mhRender();
    mhFinalize();
    mhShutdown();
}

void count_allocations(int on) __attribute__((weak)); /* of the preloaded library */

int main(void) {
    if (!count_allocations) return 1;
    count_allocations(1);
    render();
    count_allocations(0);
    unlink("beauty.hdr");
    render();
    if (access("beauty.hdr", R_OK) == 0) puts("rendered again");
    return 0;
}
