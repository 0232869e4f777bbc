// A host in C++: a glass ball and a thin pane before a striped wall. Takes the frames one by one,
// prints how the mean brightness settles, and writes host_cpp.png.
// SPDX-License-Identifier: MIT
#include <cstdio>
#include <vector>

#include <moonhare.h>

namespace {

constexpr int kWidth = 320, kHeight = 200, kFrames = 32;

// Shaders of one part need names: without, all its faces would take the last one.
int add_shader(const char* name, mhElement element, float r, float g, float b) {
    const int shader = mhAddShader();
    mhSetShaderName(shader, name);
    mhSetSurfaceColor(shader, mhAddSurfaceShader(shader), element, r, g, b);
    return shader;
}

// Glass reflects and refracts what its specular colour leaves.
int add_glass(const char* name, mhMaterial material, float ior) {
    const int shader = add_shader(name, mhElementSpecular, 0.98f, 0.98f, 0.98f);
    mhSetSurfaceColor(shader, 0, mhElementIor, ior, ior, ior);
    mhSetSurfaceMaterial(shader, 0, material);
    return shader;
}

// A rectangle in a plane of constant z, facing +z. All faces stand in one part: a ray that leaves
// face i of a part cannot hit face i of another.
void add_wall(int object, int part, int shader, float x0, float y0, float x1, float y1, float z) {
    static int vertices = 0;
    const float corners[] = {x0, y0, z, x1, y0, z, x1, y1, z, x0, y1, z};
    const int quad[] = {vertices, vertices + 1, vertices + 2, vertices + 3};
    vertices += 4;
    mhSetShaderID(object, part, shader);
    mhAddPositions(object, part, 4, corners);
    mhAddTetragons(object, part, 1, quad);
}

void add_walls() {
    const int object = mhAddObject(), part = mhAddPart(object);
    const int light = add_shader("light", mhElementLambertian, 0.8f, 0.8f, 0.7f);
    const int dark = add_shader("dark", mhElementLambertian, 0.1f, 0.15f, 0.3f);
    for (int stripe = 0; stripe < 12; ++stripe) {
        const float x = -6.0f + static_cast<float>(stripe);
        add_wall(object, part, stripe % 2 == 0 ? light : dark, x, -4, x + 1, 4, -3);
    }
    add_wall(object, part, add_glass("pane", mhMaterialThin, 1.5f), 0.6f, -1.2f, 2.4f, 1.2f, 1.2f);
}

void add_ball() {
    const float center[] = {-1, 0, 0}, radius[] = {1.1f};
    const int vertex[] = {0};
    const int object = mhAddObject(), part = mhAddPart(object);
    mhSetShaderID(object, part, add_glass("ball", mhMaterialSolid, 1.5f));
    mhAddPositions(object, part, 1, center);
    mhAddRadii(object, part, 1, radius);
    mhAddParticles(object, part, 1, vertex);
}

void add_camera() {
    const int camera = mhAddCamera();
    mhSetCameraResolution(camera, kWidth, kHeight);
    mhSetCameraSample(camera, kFrames);
    mhSetCameraAOVName(camera, 0, "host_cpp.png");
    for (const float time : {0.0f, 1.0f}) {
        mhSetCameraTime(camera, time);
        mhSetCameraPosition(camera, 0, 0, 8);
        mhSetCameraUpVector(camera, 0, 1, 0);
        mhSetCameraFOV(camera, 40);
    }
}

void render_frames() {
    std::vector<float> pixels(3 * kWidth * kHeight);
    double sum = 0;
    for (int frame = 0; frame < kFrames; ++frame) {
        mhRenderPixels(kWidth * kHeight, pixels.data(), frame);
        for (const float value : pixels)
            sum += value;
        std::printf("frame %d: mean %.4f\n", frame + 1,
                    sum / (static_cast<double>(pixels.size()) * (frame + 1)));
    }
}

} // namespace

int main() {
    mhStartup();
    add_walls();
    add_ball();
    add_camera();
    mhSetSkyLightColor(0.9f, 0.9f, 0.9f);
    mhSetRendererDistance(0); // path tracing
    mhSetRendererBounce(2);
    mhInitialize();
    render_frames();
    mhFinalize(); // writes the picture
    mhShutdown();
}
