/* The interface of moonhare: builds a scene by calls, or reads one from a directory, and renders
 * it. Plain C99; the only header that is installed, and the only symbols that libmh exports.
 * SPDX-License-Identifier: MIT
 *
 * One scene exists at a time, in the process. Records (cameras, objects, shaders, lights) are
 * addressed by the number that the call that added them returned; it holds until mhFinalize.
 *
 * Order of calls, without scene files:
 *     mhStartup(); mhAdd... and mhSet... calls; mhInitialize(); mhRender();
 *     mhFinalize(); mhShutdown();
 * With a scene directory, mhGo does all of it. Both may be repeated in one process.
 *
 * Unless a comment says otherwise:
 * - mhAdd... and mhSet... calls are legal between mhStartup and the phase that completes the
 *   record: mhInitialize, or the mhInitialize... call of the family.
 * - Calls come from one thread at a time. The library uses all processors by itself.
 * - Strings are UTF-8 or any other bytes that the system's file names have, end with a zero, and
 *   are copied. Arrays are read during the call and not kept.
 * - Colours are linear RGB. Angles are degrees. Lengths and positions are in scene units; the
 *   report calls them metres.
 * - Bad input (a number that names no record, a null pointer, a negative count, a value outside
 *   its enumeration, a call out of order) changes nothing and returns -1 where there is a result.
 *   The first of its kind for each call and run prints one line "error :( \t" on standard output.
 * - All output of the library goes to standard output; there are no result codes.
 */
#ifndef MOONHARE_H
#define MOONHARE_H

#include <stdbool.h>
#include <stdint.h>

#if defined(__GNUC__)
#define MH_API __attribute__((visibility("default")))
#else
#define MH_API
#endif

/* Version of this interface: major * 10000 + minor * 100 + patch. Within a major version, which is
 * that of the library's soname and symbols, functions and values of enumerations are added but none
 * is changed or removed. */
#define MOONHARE_VERSION_MAJOR 0
#define MOONHARE_VERSION_MINOR 1
#define MOONHARE_VERSION_PATCH 0
#define MOONHARE_VERSION                                                                           \
    (MOONHARE_VERSION_MAJOR * 10000 + MOONHARE_VERSION_MINOR * 100 + MOONHARE_VERSION_PATCH)

#ifdef __cplusplus
extern "C" {
#endif

/* How a camera maps directions to its image. */
typedef uint8_t mhProjection;

enum {
    mhProjectionPinhole = 0,  /* perspective */
    mhProjectionSpherical = 1 /* the whole sphere, as longitude and latitude */
};

/* Unit of angles; stored in the camera, where nothing reads it. */
typedef uint8_t mhAngleMeasure;

enum { mhAngleMeasureDegrees = 0, mhAngleMeasureRadians = 1 };

/* Side of a surface that a layer applies to. */
typedef uint8_t mhSideness;

enum { mhSidenessFace = 0, mhSidenessBack = 1, mhSidenessBoth = 2 };

/* What happens to light that enters a surface by its specular or glossy slot. */
typedef uint8_t mhMaterial;

enum {
    mhMaterialOpaque = 0, /* no refraction */
    mhMaterialSolid = 1,  /* dielectric solid: refracts by the ior slot */
    mhMaterialThin = 2    /* thin sheet: lets light through without bending it */
};

/* What may hit the surfaces of a shader directly from its start. Later bounces see all surfaces
 * but hidden ones. */
typedef uint8_t mhVisibility;

enum {
    mhVisibilityHidden = 0,
    mhVisibilityCameraOnly = 1, /* camera rays, no photons */
    mhVisibilityLightOnly = 2,  /* photons, no camera rays */
    mhVisibilityAll = 3
};

/* Parameter slot of a surface layer: a colour, and an image that multiplies it. */
typedef uint8_t mhElement;

enum {
    mhElementLambertian = 0,         /* albedo of diffuse reflection */
    mhElementTransmissive = 1,       /* albedo of diffuse transmission */
    mhElementGlossy = 2,             /* colour of rough reflection and refraction */
    mhElementSpecular = 3,           /* colour of mirror reflection and of refraction */
    mhElementEmissive = 4,           /* radiance: what a camera sees of the surface */
    mhElementDiffusion = 5,          /* variance of how far light spreads below the surface, area */
    mhElementShadowTransparency = 6, /* stored only */
    mhElementNormal = 7,             /* with an image: normal map */
    mhElementWeight = 8,             /* of the layer among the layers of its side */
    mhElementAnisotropy = 9,         /* of glossy, -1 to 1 */
    mhElementRoughness = 10,         /* of glossy; of hair, its lobes */
    mhElementAngle = 11,             /* rotation of anisotropy and normal map, in turns */
    mhElementIor = 12,               /* refractive index; 1 has no Fresnel reflection */
    mhElementReserved13 = 13,        /* stored only */
    mhElementThickness = 14,         /* stored only */
    mhElementReserved15 = 15         /* the slot "f0", which only scene files can put to use */
};

/* Content of an output image. Bits; two of them beside beauty leave an image black, and so does
 * beauty alone in any image but the first of a camera. */
typedef uint32_t mhChannel;

enum {
    mhChannelBeauty = 1,
    mhChannelLightPath = 2, /* photons that glossy surfaces send to a pinhole camera */
    mhChannelLambertian = 4,
    mhChannelLambertianColor = 8,
    mhChannelTransmissive = 16,
    mhChannelTransmissiveColor = 32,
    mhChannelGlossy = 64,
    mhChannelGlossyColor = 128,
    mhChannelSpecular = 256,
    mhChannelSpecularColor = 512,
    mhChannelEmissive = 1024,
    mhChannelNormal = 2048,   /* 0.5 (1 + n) */
    mhChannelTangent = 4096,  /* 0.5 (1 + t) */
    mhChannelPosition = 8192, /* in scene coordinates */
    mhChannelDepth = 16384,   /* distance from the camera */
    mhChannelCustom = 32768,  /* the per-vertex array that the user data names */
    mhChannelNoise = 65536,   /* standard error over brightness, of cameras */
    /* Of the first surface that scatters, through mirrors and smooth glass; of cameras. */
    mhChannelFeatureAlbedo = 131072,
    mhChannelFeatureNormal = 262144, /* 0.5 (1 + n) */
    mhChannelFeatureDepth = 524288,
    mhChannelAllLight = 1048576 /* of a light: all of it that reaches the picture */
};

/* ---- Lifecycle ---- */

/* Starts the library with an empty scene and default settings. Before everything else but mhGo,
 * mhSetPreviewWindow and mhSetDisplayGamma. */
MH_API void mhStartup(void);

/* Renders a scene directory: reads its folders shader, render, light, camera and geometry, runs all
 * phases, writes the images to the current directory, and leaves the library shut down. The
 * directory should end with "/": images and geometry are then also looked for in its folders image
 * and geometry. A directory that doesn't exist is an empty scene. Not after a phase has run. */
MH_API void mhGo(const char* directory);

/* Completes the scene: all phases in order, the loading of images and the light of emissive
 * surfaces included. Once per scene. */
MH_API void mhInitialize(void);

/* The phases alone, for hosts that want other work between them; order: cameras, shaders,
 * accelerator, sky light, gaffer, renderer. Images load with the shaders that use them. */

/* Phase 1: limits the settings of all cameras, and allocates and clears their images. May be
 * repeated before mhRender: what mhRenderPixels added to the images is lost. */
MH_API void mhInitializeCameras(void);
/* Phase 3: completes all shaders. */
MH_API void mhInitializeShaders(void);
/* Phase 4: finishes all objects and builds the trees that rays walk. Once per scene; without an
 * object it does nothing. */
MH_API void mhInitializeAccelerator(void);
/* Phase 5: loads and prepares the sky. May be repeated. */
MH_API void mhInitializeSkyLight(void);
/* The same as mhInitializeSkyLight: the light of emissive surfaces is prepared by mhInitialize
 * alone. */
MH_API void mhInitializeGeometryLight(void);
/* Phase 7: point and parallel lights. Once per scene. */
MH_API void mhInitializeGaffer(void);
/* Phase 8: decides the mode, casts photons. May be repeated before mhRender. */
MH_API void mhInitializeRenderer(void);

/* Renders all frames of the first camera, in the preview window if it is on, writes the images and
 * releases the lights. Once, after mhInitialize or mhInitializeRenderer. Without a camera nothing
 * happens. */
MH_API void mhRender(void);

/* Writes all images and destroys all records. After mhStartup. */
MH_API void mhFinalize(void);

/* The steps of mhFinalize alone; each is legal after mhStartup. */

/* Forgets photons; sample, depths and radius go back to their defaults. */
MH_API void mhFinalizeRenderer(void);
/* Writes the images of point and parallel lights and destroys the lights. */
MH_API void mhFinalizeGaffer(void);
/* Writes the sky's output images and releases its image. Settings go back to their defaults, but
 * the paths of image and backdrop, linked shaders and output images stay. */
MH_API void mhFinalizeSkyLight(void);
/* The same as mhFinalizeSkyLight. */
MH_API void mhFinalizeGeometryLight(void);
/* Destroys all objects. */
MH_API void mhFinalizeAccelerator(void);
/* Writes the images of all cameras and destroys the cameras. */
MH_API void mhFinalizeCameras(void);
/* Destroys all shaders, that of objects without one included: only mhFinalize... calls, mhShutdown
 * and mhStartup make sense after it. */
MH_API void mhFinalizeShaders(void);

/* Ends the work with the library; mhStartup may follow. What is left of a scene is finalised
 * before, with one line: then a late mhFinalize does nothing. After mhStartup. */
MH_API void mhShutdown(void);

/* ---- Display ---- */

/* Whether mhRender shows the picture in a window while it grows; default false. mhRender then
 * returns when the window is closed: it stays open after the last frame. Closing it before ends the
 * render with images that are means of the frames done; before the first frame none is written.
 * Without a display one line is printed and mhRender works without a window. Legal at any time, and
 * keeps its value over mhStartup. */
MH_API void mhSetPreviewWindow(bool on);

/* Stored only; default 2.2. Legal at any time, and keeps its value over mhStartup. */
MH_API void mhSetDisplayGamma(float gamma);

/* ---- Pixels on demand ---- */

/* Renders one frame of the first camera's region, in place of mhRender, and copies the first
 * `count` pixels of it to `out`, row by row from the top left, three floats each: this frame's
 * colours, clamped, not averaged. Their mean over the frames 0 to sample - 1 is the picture; the
 * beauty image sums them up divided by the camera's sample. Pixels beyond the region are left
 * alone. count: 0 or more, three times as many floats in `out`. frame: 0 or more; frames from
 * `sample` on take their points from the first again. After mhInitialize; settings of the renderer
 * and of cameras may change between frames. */
MH_API void mhRenderPixels(int count, float* out, int frame);

/* ---- Watching a run ---- */

/* Asks a run to end: a running mhInitialize, mhRender or mhGo returns soon, and pictures hold the
 * frames done so far. From any thread, or a signal handler; holds until the next mhStartup, mhGo or
 * mhShutdown. */
MH_API void mhRequestStop(void);
/* Frames that mhRender has done. From any thread. */
MH_API int mhGetFrameCount(void);
/* Whether the report is kept for mhTakeReport instead of printed; default false. */
MH_API void mhKeepReport(bool on);
/* Moves up to `size` bytes of the kept report to `text`, without a zero at their end; returns how
 * many, 0 when nothing is left. From any thread. */
MH_API int mhTakeReport(int size, char* text);

/* Takes an image of a camera out of the scene, after mhRender; returns the number of a picture,
 * which stays until mhFreePicture, also beyond the scene, or -1 without one. The image is not
 * written any more. */
MH_API int mhTakeCameraAOV(int camera, int aov);
/* Width of a picture, pixels. */
MH_API int mhGetPictureWidth(int picture);
/* Height of a picture, pixels. */
MH_API int mhGetPictureHeight(int picture);
/* Its pixels, row by row from the top, three floats each; they do not move. Null for no picture. */
MH_API const float* mhGetPicturePixels(int picture);
/* Releases a picture; its number may be given to another one. */
MH_API void mhFreePicture(int picture);

/* ---- Renderer; legal at any time after mhStartup ---- */

/* Gather rays that spread at the first hit over the whole run; default 64. Counts from the next
 * mhInitialize or mhInitializeRenderer on. */
MH_API void mhSetRendererSample(int sample);
/* Rays of a camera path, the one from the camera included: N leave it N - 1 bounces of any kind. 1
 * to 255, default 8. Lower values count as 1 from the next mhInitialize or mhInitializeRenderer
 * on; until then 0 and less make a black picture. */
MH_API void mhSetRendererRayDepth(int depth);
/* Bounces of a photon: N let it light N + 1 surfaces. 1 to 254, default 8. Counts from the next
 * mhInitialize or mhInitializeRenderer on, lower values as 1. */
MH_API void mhSetRendererPhotonDepth(int depth);
/* Diffuse and glossy bounces of a camera path: 1 or more, default 1. Lower values count as 1 from
 * the next mhInitialize or mhInitializeRenderer on. */
MH_API void mhSetRendererBounce(int bounce);
/* Length within which gather rays go on instead of reading the photons, scene units; default 1.
 * 0 selects path tracing: the mode is chosen by mhInitialize and mhInitializeRenderer. */
MH_API void mhSetRendererDistance(float distance);
/* Area of a cell in which photons are collected, square units; default 1. 0 selects path tracing,
 * by mhInitialize and mhInitializeRenderer. The cells are laid out by mhInitialize and
 * mhInitializeAccelerator, and anew by mhInitializeRenderer where the value has changed. */
MH_API void mhSetRendererResolution(float resolution);
/* Radius of the look-up of caustic photons, scene units; default 1. Counts from the next
 * mhInitialize or mhInitializeRenderer on. */
MH_API void mhSetRendererRadius(float radius);
/* Upper limits of a pixel's value in one frame; default 3.4e38 each. Negative values count as 0
 * from the next mhInitialize or mhInitializeRenderer on. Only the picture itself is limited, no
 * other output image. An infinite channel counts as the limit where one was set, otherwise, like
 * NaN, as 0; mhFinalize reports the number of samples that have such zeros. */
MH_API void mhSetRendererClamp(float r, float g, float b);
/* Ends the run when the 95th percentile of the relative error of blocks of 8 x 8 pixels, as it is
 * estimated, falls below; the camera's frames remain the upper limit. 0, the default, and less:
 * never. Before the phase of the cameras. */
MH_API void mhSetRendererNoise(float error);
/* Gives frames after the 16th to the blocks that need them; default false. Before the phase of the
 * cameras; frames of mhRenderPixels stay even. */
MH_API void mhSetRendererAdaptive(bool on);

/* ---- Cameras ----
 * The first camera is the one that is rendered. The setters of poses, region and sample stay legal
 * between frames of mhRenderPixels. */

/* Adds a camera: 960 by 540 pixels, 17 frames, one output image "beauty.hdr". Until a pose is set
 * it sees the whole scene, with y upwards. Returns its number. */
MH_API int mhAddCamera(void);
/* Stored only. */
MH_API void mhSetCameraName(int camera, const char* name);
/* Size of all its images in pixels; values below 0 count as 0. */
MH_API void mhSetCameraResolution(int camera, int width, int height);
/* Columns x0 to x1 - 1 and rows y0 to y1 - 1 are rendered, the rest stays black; by default all.
 * Cut to the image. */
MH_API void mhSetCameraRegion(int camera, int x0, int y0, int x1, int y1);
/* Number of frames, one sample per pixel each: 1 to 65535, default 17; others are limited. */
MH_API void mhSetCameraSample(int camera, int sample);
/* Stored only; default 1 each. */
MH_API void mhSetCameraExposure(int camera, float r, float g, float b);
/* Default mhProjectionPinhole. */
MH_API void mhSetCameraProjection(int camera, mhProjection projection);
/* Stored only: mhSetCameraFOV takes degrees always. */
MH_API void mhSetCameraAngleMeasure(int camera, mhAngleMeasure measure);
/* Chooses the pose that the following calls set: below 0.5 the one at the start of the run,
 * otherwise the one at its end. Set both, for a still camera to the same. */
MH_API void mhSetCameraTime(int camera, float time);
/* Eye point of the chosen pose. */
MH_API void mhSetCameraPosition(int camera, float x, float y, float z);
/* Point that the chosen pose looks at. */
MH_API void mhSetCameraTarget(int camera, float x, float y, float z);
/* Direction that is up in the image of the chosen pose; any length; default 0, 0, 1. */
MH_API void mhSetCameraUpVector(int camera, float x, float y, float z);
/* Horizontal angle of view of the chosen pose in degrees, above 0 and below 180; default 45. */
MH_API void mhSetCameraFOV(int camera, float degrees);
/* Stored only. */
MH_API void mhSetCameraBokeh(int camera, float bokeh);

/* Adds an output image, which stays black until mhSetCameraAOVChannel; returns its number within
 * the camera. Number 0 is the beauty image. */
MH_API int mhAddCameraAOV(int camera);
/* File that the image is written to; its extension chooses the format. Empty: it isn't written. */
MH_API void mhSetCameraAOVName(int camera, int aov, const char* name);
/* Replaces the content, which starts as mhChannelBeauty. */
MH_API void mhSetCameraAOVChannel(int camera, int aov, mhChannel channel);
/* Name of the per-vertex array that mhChannelCustom shows. */
MH_API void mhSetCameraAOVUserData(int camera, int aov, const char* name);

/* ---- Objects ----
 * Geometry stands in parts of objects; a part holds particles, or cylinders, or faces. Indices
 * count the positions of their part from 0; primitives with others are dropped, with a message,
 * when the part is finished. A ray that leaves a primitive ignores those of the same number in all
 * parts: put the faces of one object into one part. */

/* Adds an empty object; returns its number. The last object that no instance places is the root;
 * all others that no instance places are placed in it as they are. */
MH_API int mhAddObject(void);
/* Name in the report, and by which instances of scene files find it. */
MH_API void mhSetObjectName(int object, const char* name);
/* Adds an empty part; returns its number within the object. */
MH_API int mhAddPart(int object);
/* Shader of the part, and of the faces that are added from now on; default 0. When the part is
 * finished, faces whose shader has no name of its own take the one that was set last. */
MH_API void mhSetShaderID(int object, int part, int shader);
/* Appends `count` points of three floats. */
MH_API void mhAddPositions(int object, int part, int count, const float* positions);
/* Appends `count` normals of three floats, of any length: one for each position, or none at all.
 * Zeros leave a vertex without one. */
MH_API void mhAddNormals(int object, int part, int count, const float* normals);
/* The same for tangents. */
MH_API void mhAddTangents(int object, int part, int count, const float* tangents);
/* Appends `count` pairs of texture coordinates: one for each position, or none at all. */
MH_API void mhAddUVs(int object, int part, int count, const float* uvs);
/* Appends `count` radii of particles or cylinders: one for each position. */
MH_API void mhAddRadii(int object, int part, int count, const float* radii);
/* Appends `count` triangles of three indices, counter-clockwise seen from the front. */
MH_API void mhAddTriangles(int object, int part, int count, const int* indices);
/* Appends `count` flat quads of four indices in order around the face. When the part is finished,
 * one that is not a parallelogram becomes two triangles, 0 1 2 and 2 3 0. */
MH_API void mhAddTetragons(int object, int part, int count, const int* indices);
/* Appends `count` hair segments, each from the vertex of its index to the next vertex. */
MH_API void mhAddCylinders(int object, int part, int count, const int* indices);
/* Appends `count` spheres, each around the vertex of its index. */
MH_API void mhAddParticles(int object, int part, int count, const int* indices);
/* Adds a named array of `count` values, one for each position, of 1, 2 or 3 floats each.
 * mhChannelCustom shows it; one named "motion" marks the object as moving. */
MH_API void mhAddVertexData(int object, int part, const char* name, int count, int components,
                            const float* values);
/* Adds an instance, which places another object in this one; returns its number within the
 * object. It places nothing until mhSetInstance. */
MH_API int mhAddInstance(int object);
/* Places object `target`. matrix: four rows of four, acts on column vectors (the translation
 * stands in the last column), from the target's space to the object's; null keeps what it is, at
 * first the identity. Rotations, translations and mirrors keep distances exact. With the classic
 * estimator any other matrix leaves those inside in the target's own units: scaled instances show
 * before what is nearer, or vanish. */
MH_API void mhSetInstance(int object, int instance, int target, float (*matrix)[4]);

/* ---- Shaders ----
 * Shader 0, named "undefined", exists from the start: grey, for objects without a shader. Shaders
 * are read once, by mhInitializeShaders: what is set later has no effect until mhFinalize. */

/* Adds a shader, named "undefined" too, without layers; returns its number. Name it where a part
 * has several. */
MH_API int mhAddShader(void);
/* Any name but "undefined"; output images of the geometry light find the shader by it. */
MH_API void mhSetShaderName(int shader, const char* name);
/* Default mhVisibilityAll. */
MH_API void mhSetShaderVisibility(int shader, mhVisibility visibility);
/* Faces that meet at less than this angle are shaded smoothly, degrees; default -1: none are. */
MH_API void mhSetShaderSmoothAngle(int shader, float degrees);
/* Stored only; default 1. */
MH_API void mhSetShaderRoundCorner(int shader, float radius);
/* No effect. */
MH_API void mhSetShaderTime(int shader, float time);

/* Adds a layer, black on both sides; returns its number within the shader. At most 16 layers a
 * side are used. */
MH_API int mhAddSurfaceShader(int shader);
/* Colour of a slot; default 1 for normal, ior and reserved13, otherwise 0. */
MH_API void mhSetSurfaceColor(int shader, int layer, mhElement element, float r, float g, float b);
/* Image that multiplies the slot's colour. path: looked for in the search list, empty for none;
 * gamma: exponent of its texels, 1 for linear images. The matrices are stored, but have no effect;
 * null leaves them as they are. */
MH_API void mhSetSurfaceImage(int shader, int layer, mhElement element, const char* path,
                              float gamma, const float (*color_matrix)[4],
                              const float (*uv_matrix)[3]);
/* Default mhMaterialOpaque. */
MH_API void mhSetSurfaceMaterial(int shader, int layer, mhMaterial material);
/* Default mhSidenessBoth. */
MH_API void mhSetSurfaceSideness(int shader, int layer, mhSideness sideness);
/* Whether the emission is weighted against direct light samples; default false. Set it on emissive
 * layers of faces when mhSetGeometryLightSample is above 0, or their light counts twice; not on
 * those of hair and particles, which no sample finds. */
MH_API void mhSetSurfaceVirtualLight(int shader, int layer, bool on);

/* Adds a displacement layer; returns its number within the shader. They act on smoothed faces. */
MH_API int mhAddDisplacementShader(int shader);
/* Factors of the image's channels along x, y and z of the object, scene units; without an image the
 * displacement itself. Default 0: the image (r, g, b) then displaces by r against the bitangent, g
 * along the tangent and b along the normal. */
MH_API void mhSetDisplacementVector(int shader, int layer, float x, float y, float z);
/* Pieces that an edge is divided into: default 1; 0 and less remove the faces. */
MH_API void mhSetDisplacementLevel(int shader, int layer, int level);
/* Image of the layer; otherwise as mhSetSurfaceImage. */
MH_API void mhSetDisplacementImage(int shader, int layer, const char* path, float gamma,
                                   const float (*color_matrix)[4], const float (*uv_matrix)[3]);

/* ---- Point lights ---- */

/* Adds a white light at the origin, full along its direction and dark behind: for the same light
 * all around set the inner angle to 180 and the outer one to 180.1. Returns its number. */
MH_API int mhAddPointLight(void);
/* Radiant intensity divided by pi: a white surface that faces the light at distance d shows
 * color / (d d). Default 1 each. */
MH_API void mhSetPointLightColor(int light, float r, float g, float b);
/* Axis of the cone, any length; default (0, 1, 0). */
MH_API void mhSetPointLightDirection(int light, float x, float y, float z);
/* Default (0, 0, 0). */
MH_API void mhSetPointLightPosition(int light, float x, float y, float z);
/* Radius of the sphere that softens its shadows, scene units; default 0. */
MH_API void mhSetPointLightBlur(int light, float radius);
/* Cosine at which the light of diffuse surfaces ends, before the horizon: they show
 * (cos - offset) / (1 - offset) in place of the cosine. Without effect at the first hit where
 * several samples are taken: of a light with blur, or on a surface with diffusion. Default 0.1;
 * 0 is exact. */
MH_API void mhSetPointLightOffset(int light, float offset);
/* Angle from the axis up to which the light is full, degrees; default 0. */
MH_API void mhSetPointLightInnerAngle(int light, float degrees);
/* Angle from the axis at which the light ends, degrees; default 180. */
MH_API void mhSetPointLightOuterAngle(int light, float degrees);
/* Shadow rays of a point at the first hit over the whole run, of a light with blur or on a surface
 * with diffusion; at least one a frame, which is what any other takes. Default 1. */
MH_API void mhSetPointLightSample(int light, int sample);
/* Photons; default 0: the light takes no part in photon casting. */
MH_API void mhSetPointLightPhoton(int light, int photons);
/* Adds a shader to those that the light reaches; without any it reaches all. */
MH_API void mhSetPointLightShaderLink(int light, int shader);
/* Adds an output image for what the light contributes; returns its number within the light. */
MH_API int mhAddPointLightAOV(int light);
/* File that the image is written to; empty: it isn't written. */
MH_API void mhSetPointLightAOVName(int light, int aov, const char* name);
/* Adds bits to the content, which starts as mhChannelBeauty. */
MH_API void mhSetPointLightAOVChannel(int light, int aov, mhChannel channel);

/* ---- Parallel lights ---- */

/* Adds a white light; give it a direction. Returns its number. */
MH_API int mhAddParallelLight(void);
/* Irradiance of a surface that faces the light, divided by pi: what it shows if it is white.
 * Default 1 each. */
MH_API void mhSetParallelLightColor(int light, float r, float g, float b);
/* Direction towards which the light travels, any length. */
MH_API void mhSetParallelLightDirection(int light, float x, float y, float z);
/* Half the angle of the cone that softens its shadows, degrees; default 0. */
MH_API void mhSetParallelLightBlur(int light, float degrees);
/* Cosine at which the light of diffuse surfaces ends, before the horizon: they show
 * (cos - offset) / (1 - offset) in place of the cosine. Default 0.1; 0 is exact. */
MH_API void mhSetParallelLightOffset(int light, float offset);
/* Shadow rays of a point at the first hit over the whole run, of a light with blur or on a surface
 * with diffusion; at least one a frame, which is what any other takes. Default 1. */
MH_API void mhSetParallelLightSample(int light, int sample);
/* Photons; default 0: the light takes no part in photon casting. */
MH_API void mhSetParallelLightPhoton(int light, int photons);
/* Adds a shader to those that the light reaches; without any it reaches all. */
MH_API void mhSetParallelLightShaderLink(int light, int shader);
/* Adds an output image for what the light contributes; returns its number within the light. */
MH_API int mhAddParallelLightAOV(int light);
/* File that the image is written to; empty: it isn't written. */
MH_API void mhSetParallelLightAOVName(int light, int aov, const char* name);
/* Adds bits to the content, which starts as mhChannelBeauty. */
MH_API void mhSetParallelLightAOVChannel(int light, int aov, mhChannel channel);

/* ---- Sky light ---- */

/* Longitude and latitude image of the sky, which the colour multiplies; default none. */
MH_API void mhSetSkyLightImage(const char* path);
/* Image that camera rays see behind the scene, across the whole picture; default none. */
MH_API void mhSetSkyLightBackdrop(const char* path);
/* Radiance: what a camera sees of the sky; the image is multiplied by it. Default 0.75 each. */
MH_API void mhSetSkyLightColor(float r, float g, float b);
/* Horizontal direction that stands at a quarter of the image's width, from the left; the middle is
 * what lies to the right of it. Default (0, 1, 0). */
MH_API void mhSetSkyLightNorth(float x, float y, float z);
/* Direction of its top; default (0, 0, 1). */
MH_API void mhSetSkyLightZenith(float x, float y, float z);
/* Light samples of the image at a first hit over the whole run; default 64. */
MH_API void mhSetSkyLightSample(int sample);
/* Photons; default 1000000. */
MH_API void mhSetSkyLightPhoton(int photons);
/* Adds a shader to those that the sky reaches; without any it reaches all. With a link camera
 * rays see a black sky. */
MH_API void mhSetSkyLightShaderLink(int shader);
/* Adds an output image for what the sky contributes; returns its number. */
MH_API int mhAddSkyLightAOV(void);
/* File that the image is written to; empty: it isn't written. */
MH_API void mhSetSkyLightAOVName(int aov, const char* name);
/* Adds bits to the content, which starts as mhChannelBeauty. */
MH_API void mhSetSkyLightAOVChannel(int aov, mhChannel channel);

/* ---- Geometry light: all emissive surfaces ---- */

/* Light samples at a first hit over the whole run; default 0: emission is found by bounces only. */
MH_API void mhSetGeometryLightSample(int sample);
/* Photons; default 1000000. */
MH_API void mhSetGeometryLightPhoton(int photons);
/* Adds a shader to those that the light reaches; without any it reaches all. With a link camera
 * rays see black lamps. */
MH_API void mhSetGeometryLightShaderLink(int shader);
/* Adds an output image for what the surfaces contribute; returns its number. */
MH_API int mhAddGeometryLightAOV(void);
/* File that the image is written to; empty: it isn't written. */
MH_API void mhSetGeometryLightAOVName(int aov, const char* name);
/* Adds bits to the content, which starts as mhChannelBeauty. */
MH_API void mhSetGeometryLightAOVChannel(int aov, mhChannel channel);
/* Name of the shader whose surfaces alone count; empty for all. With a name that no shader has the
 * image stays black. */
MH_API void mhSetGeometryLightAOVShaderName(int aov, const char* name);

#ifdef __cplusplus
}
#endif

#endif
