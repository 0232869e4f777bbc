/* A host in C: a white ball on a floor, lit by the sun and the sky. Writes host_c.png.
 * Build: cc host.c $(pkg-config --cflags --libs moonhare) -o host
 * SPDX-License-Identifier: MIT
 */
#include <moonhare.h>

static const float floor_corners[] = {-9, 0, -9, -9, 0, 9, 9, 0, 9, 9, 0, -9};
static const int floor_quad[] = {0, 1, 2, 3};
static const float ball_center[] = {0, 1, 0};
static const float ball_radius[] = {1};
static const int ball_vertex[] = {0};

/* One layer with a lambertian colour. */
static int add_matte_shader(float r, float g, float b) {
    const int shader = mhAddShader();
    mhSetSurfaceColor(shader, mhAddSurfaceShader(shader), mhElementLambertian, r, g, b);
    return shader;
}

static void add_floor(void) {
    const int object = mhAddObject(), part = mhAddPart(object);
    mhSetShaderID(object, part, add_matte_shader(0.6f, 0.4f, 0.2f));
    mhAddPositions(object, part, 4, floor_corners);
    mhAddTetragons(object, part, 1, floor_quad);
}

static void add_ball(void) {
    const int object = mhAddObject(), part = mhAddPart(object);
    mhSetShaderID(object, part, add_matte_shader(0.8f, 0.8f, 0.8f));
    mhAddPositions(object, part, 1, ball_center);
    mhAddRadii(object, part, 1, ball_radius);
    mhAddParticles(object, part, 1, ball_vertex);
}

static void add_lights(void) {
    const int sun = mhAddParallelLight();
    mhSetParallelLightColor(sun, 0.7f, 0.65f, 0.5f);
    mhSetParallelLightDirection(sun, -1, -2, -1);
    mhSetParallelLightBlur(sun, 3);
    mhSetSkyLightColor(0.2f, 0.3f, 0.5f);
}

/* A still camera: both poses are the same. */
static void add_camera(void) {
    const int camera = mhAddCamera();
    int pose;
    mhSetCameraResolution(camera, 320, 200);
    mhSetCameraSample(camera, 32);
    mhSetCameraAOVName(camera, 0, "host_c.png");
    for (pose = 0; pose < 2; ++pose) {
        mhSetCameraTime(camera, (float)pose);
        mhSetCameraPosition(camera, 1, 2, 6);
        mhSetCameraTarget(camera, 0, 0.8f, 0);
        mhSetCameraUpVector(camera, 0, 1, 0);
        mhSetCameraFOV(camera, 40);
    }
}

int main(void) {
    mhStartup();
    add_floor();
    add_ball();
    add_lights();
    add_camera();
    mhSetRendererDistance(0); /* path tracing */
    mhInitialize();
    mhRender();
    mhFinalize();
    mhShutdown();
    return 0;
}
