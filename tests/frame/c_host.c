/* A host in C99 against the shared library: builds a glowing triangle by calls, renders it, twice
 * in one process, and checks the colours.
 * SPDX-License-Identifier: MIT
 */
#include "moonhare.h"

#include <math.h>
#include <stdio.h>

typedef char projection_is_one_byte[sizeof(mhProjection) == 1 ? 1 : -1];
typedef char channel_is_four_bytes[sizeof(mhChannel) == 4 ? 1 : -1];

static const float kPositions[] = {-9, -9, 0, 9, -9, 0, 0, 9, 0};
static const int kCorners[] = {0, 1, 2};
static float identity[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};

static void set_pose(int camera, float time) {
    mhSetCameraTime(camera, time);
    mhSetCameraPosition(camera, 0, 0, 4);
    mhSetCameraTarget(camera, 0, 0, 0);
    mhSetCameraUpVector(camera, 0, 1, 0);
    mhSetCameraFOV(camera, 40);
}

/* A surface of the given emission fills the picture; returns the mean of a frame. */
static float render(float emission) {
    float pixels[3 * 8 * 4], sum = 0;
    int camera, shader, layer, object, part, group, i;
    mhStartup();
    camera = mhAddCamera();
    mhSetCameraResolution(camera, 8, 4);
    mhSetCameraSample(camera, 2);
    mhSetCameraAOVName(camera, 0, "");
    set_pose(camera, 0);
    set_pose(camera, 1);
    shader = mhAddShader();
    layer = mhAddSurfaceShader(shader);
    mhSetSurfaceColor(shader, layer, mhElementEmissive, emission, emission, emission);
    object = mhAddObject();
    part = mhAddPart(object);
    mhSetShaderID(object, part, shader);
    mhAddPositions(object, part, 3, kPositions);
    mhAddTriangles(object, part, 1, kCorners);
    group = mhAddObject();
    mhSetInstance(group, mhAddInstance(group), object, identity);
    mhSetRendererDistance(0);
    mhSetSkyLightPhoton(0);
    mhSetGeometryLightPhoton(0);
    mhInitialize();
    mhRenderPixels(8 * 4, pixels, 0);
    mhFinalize();
    mhShutdown();
    for (i = 0; i < 3 * 8 * 4; ++i)
        sum += pixels[i];
    return sum / (3 * 8 * 4);
}

int main(void) {
    const float first = render(2), second = render(5);
    if (fabsf(first - 2) < 1e-4f && fabsf(second - 5) < 1e-4f) return 0;
    fprintf(stderr, "means %g and %g instead of 2 and 5\n", (double)first, (double)second);
    return 1;
}
