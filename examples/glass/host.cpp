// Glass on a table, in the default mode: a ball and a block, whose caustics come from the photons
// of a spot light, and a standing pane, all by calls. Writes glass.hdr; an argument makes it a
// trial of few pixels and photons.
// SPDX-License-Identifier: MIT
#include <array>
#include <cmath>

#include <moonhare.h>

namespace {

struct Point {
    float x, y, z;
};

int add_shader(const char* name, mhElement element, float r, float g, float b) {
    const int shader = mhAddShader();
    mhSetShaderName(shader, name);
    mhSetSurfaceColor(shader, mhAddSurfaceShader(shader), element, r, g, b);
    return shader;
}

int add_glass(const char* name, mhMaterial material, float red, float green, float blue) {
    const int shader = add_shader(name, mhElementSpecular, red, green, blue);
    mhSetSurfaceColor(shader, 0, mhElementIor, 1.5f, 1.5f, 1.5f);
    mhSetSurfaceMaterial(shader, 0, material);
    return shader;
}

// A rectangle, counterclockwise as seen from its front.
void add_rectangle(int part, int shader, const std::array<Point, 4>& corners) {
    static int vertices = 0;
    const int quad[] = {vertices, vertices + 1, vertices + 2, vertices + 3};
    vertices += 4;
    mhSetShaderID(0, part, shader);
    mhAddPositions(0, part, 4, &corners[0].x);
    mhAddTetragons(0, part, 1, quad);
}

// A block that stands on z = 0, its sides turned by an angle about the vertical.
void add_block(int part, int shader, Point center, Point half, float angle) {
    const float c = std::cos(angle), s = std::sin(angle);
    const auto corner = [&](int i, bool top) {
        const float x = i == 0 || i == 3 ? -half.x : half.x, y = i < 2 ? -half.y : half.y;
        return Point{center.x + c * x - s * y, center.y + s * x + c * y,
                     center.z + (top ? half.z : -half.z)};
    };
    for (int i = 0; i < 4; ++i) {
        const int next = (i + 1) % 4;
        add_rectangle(part, shader,
                      {corner(i, false), corner(next, false), corner(next, true), corner(i, true)});
    }
    add_rectangle(part, shader,
                  {corner(0, true), corner(1, true), corner(2, true), corner(3, true)});
    add_rectangle(part, shader,
                  {corner(3, false), corner(2, false), corner(1, false), corner(0, false)});
}

void add_ball(int part, int shader, Point center, float radius) {
    const int vertex[] = {0};
    mhSetShaderID(0, part, shader);
    mhAddPositions(0, part, 1, &center.x);
    mhAddRadii(0, part, 1, &radius);
    mhAddParticles(0, part, 1, vertex);
}

// Flat faces in one part, since a ray that leaves face i of a part cannot hit face i of another;
// the ball is of another kind and has its own.
void add_objects() {
    mhAddObject();
    const int faces = mhAddPart(0), balls = mhAddPart(0);
    const int table = add_shader("table", mhElementLambertian, 0.55f, 0.5f, 0.45f);
    const int wall = add_shader("wall", mhElementLambertian, 0.3f, 0.4f, 0.5f);
    add_rectangle(faces, table, {{{-6, -6, 0}, {6, -6, 0}, {6, 3, 0}, {-6, 3, 0}}});
    add_rectangle(faces, wall, {{{-6, 3, 0}, {6, 3, 0}, {6, 3, 5}, {-6, 3, 5}}});
    const int glass = add_glass("glass", mhMaterialSolid, 1, 1, 1);
    add_block(faces, glass, {1.0f, 0.5f, 0.601f}, {0.4f, 0.4f, 0.6f}, 0.6f);
    add_rectangle(faces, add_glass("pane", mhMaterialThin, 0.8f, 0.95f, 0.85f),
                  {{{-2.3f, 0.2f, 0}, {-1, 1, 0}, {-1, 1, 1.5f}, {-2.3f, 0.2f, 1.5f}}});
    add_ball(balls, glass, {-0.4f, -0.7f, 0.601f}, 0.6f);
}

void add_lights(bool trial) {
    const int spot = mhAddPointLight();
    mhSetPointLightPosition(spot, -4, 1.8f, 5);
    mhSetPointLightDirection(spot, 4.3f, -2.3f, -5);
    mhSetPointLightInnerAngle(spot, 22);
    mhSetPointLightOuterAngle(spot, 40);
    mhSetPointLightColor(spot, 45, 42, 36);
    mhSetPointLightBlur(spot, 0.1f);
    mhSetPointLightSample(spot, 64);
    mhSetPointLightPhoton(spot, trial ? 20000 : 8000000);
    mhSetSkyLightColor(0.25f, 0.3f, 0.4f);
    mhSetSkyLightPhoton(trial ? 3000 : 300000);
}

void add_camera(bool trial) {
    const int camera = mhAddCamera();
    mhSetCameraResolution(camera, trial ? 16 : 640, trial ? 10 : 400);
    mhSetCameraSample(camera, trial ? 2 : 32);
    mhSetCameraAOVName(camera, 0, "glass.hdr");
    for (const float time : {0.0f, 1.0f}) {
        mhSetCameraTime(camera, time);
        mhSetCameraPosition(camera, 0.4f, -6, 3);
        mhSetCameraTarget(camera, 0, 0, 0.45f);
        mhSetCameraUpVector(camera, 0, 0, 1);
        mhSetCameraFOV(camera, 42);
    }
}

void set_renderer() {
    mhSetRendererResolution(0.02f); // cells of 14 cm
    mhSetRendererDistance(0.5f);
    mhSetRendererRadius(0.1f); // of caustics
    mhSetRendererSample(96);
    mhSetRendererRayDepth(12);
    mhSetRendererClamp(2, 2, 2);
}

} // namespace

int main(int count, char**) {
    const bool trial = count > 1;
    mhStartup();
    add_objects();
    add_lights(trial);
    add_camera(trial);
    set_renderer();
    mhInitialize();
    mhRender();
    mhFinalize();
    mhShutdown();
}
