// Where the picture stands on the page: zoom, pan, wipe, and what dragging and keys do.
const view = { zoom: 1, x: 0, y: 0, fits: true, tool: 'view', shown: 0, drawing: false, box: null };
const canvas = document.getElementById('picture');
const pen = canvas.getContext('2d');

function drawSoon() {
  if (view.drawing) return;
  view.drawing = true;
  requestAnimationFrame(draw);
}

// The canvas has the screen's own pixels; places on it count in these.
function resize() {
  const box = canvas.getBoundingClientRect(), ratio = window.devicePixelRatio || 1;
  const width = Math.max(Math.round(box.width * ratio), 1);
  const height = Math.max(Math.round(box.height * ratio), 1);
  if (canvas.width !== width || canvas.height !== height) {
    canvas.width = width;
    canvas.height = height;
  }
  if (view.fits) fit();
  drawSoon();
}

function fit() {
  if (!size.width) return;
  view.fits = true;
  view.zoom = Math.min(canvas.width / size.width, canvas.height / size.height);
  view.x = (canvas.width - view.zoom * size.width) / 2;
  view.y = (canvas.height - view.zoom * size.height) / 2;
  drawSoon();
}

function zoomAt(factor, x = canvas.width / 2, y = canvas.height / 2) {
  const zoom = Math.min(Math.max(view.zoom * factor, 0.05), 64);
  view.x = x - (x - view.x) * zoom / view.zoom;
  view.y = y - (y - view.y) * zoom / view.zoom;
  view.zoom = zoom;
  view.fits = false;
  drawSoon();
}

function zoomExactly() {
  zoomAt(1 / view.zoom);
  view.x = Math.round(view.x);
  view.y = Math.round(view.y);
}

function draw() {
  view.drawing = false;
  pen.setTransform(1, 0, 0, 1, 0, 0);
  pen.clearRect(0, 0, canvas.width, canvas.height);
  if (!size.width) return;
  pen.imageSmoothingEnabled = view.zoom < 1;
  drawPicture(pictureOf(view.shown));
  const other = otherPicture();
  if (other) drawWiped(other);
  if (view.box) drawBox(view.box, '#ffffff');
  if (live.status && live.status.region && !coversAll(live.status.region)) {
    drawBox(live.status.region, '#ffcf70');
  }
  document.getElementById('zoom').textContent = Math.round(100 * view.zoom) + ' %';
}

function drawPicture(picture) {
  pen.drawImage(picture.canvas, view.x, view.y, view.zoom * picture.width,
    view.zoom * picture.height);
}

function drawWiped(other) {
  const edge = view.x + view.zoom * size.width * compare.wipe / 100;
  pen.save();
  pen.beginPath();
  pen.rect(edge, 0, canvas.width, canvas.height);
  pen.clip();
  drawPicture(other);
  pen.restore();
  pen.fillStyle = '#ffffff';
  pen.fillRect(edge - 1, view.y, 2, view.zoom * size.height);
}

function drawBox([x0, y0, x1, y1], colour) {
  pen.strokeStyle = colour;
  pen.lineWidth = 2;
  pen.setLineDash([6, 4]);
  pen.strokeRect(view.x + view.zoom * x0, view.y + view.zoom * y0, view.zoom * (x1 - x0),
    view.zoom * (y1 - y0));
  pen.setLineDash([]);
}

function coversAll([x0, y0, x1, y1]) {
  return x0 <= 0 && y0 <= 0 && x1 >= size.width && y1 >= size.height;
}

// Where an event is: on the canvas, and in the picture.
function placeOf(event) {
  const box = canvas.getBoundingClientRect();
  const x = (event.clientX - box.left) * canvas.width / box.width;
  const y = (event.clientY - box.top) * canvas.height / box.height;
  return { x, y, column: (x - view.x) / view.zoom, row: (y - view.y) / view.zoom };
}

function clamp(value, low, high) {
  return Math.min(Math.max(value, low), high);
}

// Pixels of the picture between two corners; null for none.
function boxOf(a, b) {
  const x0 = clamp(Math.floor(Math.min(a.column, b.column)), 0, size.width);
  const y0 = clamp(Math.floor(Math.min(a.row, b.row)), 0, size.height);
  const x1 = clamp(Math.ceil(Math.max(a.column, b.column)), 0, size.width);
  const y1 = clamp(Math.ceil(Math.max(a.row, b.row)), 0, size.height);
  return x1 - x0 > 1 && y1 - y0 > 1 ? [x0, y0, x1, y1] : null;
}

// The first move of a drag goes out at once, later ones are gathered, so that a fast hand sends no
// more than the render can follow.
const cameraMove = { x: 0, y: 0, motion: '', waits: false, sent: -Infinity };
const movePause_ms = 40;

function moveCamera(motion, x, y) {
  if (cameraMove.motion !== motion) sendMove();
  cameraMove.motion = motion;
  cameraMove.x += x;
  cameraMove.y += y;
  if (cameraMove.waits) return;
  const pause = cameraMove.sent + movePause_ms - performance.now();
  if (pause <= 0) return sendMove();
  cameraMove.waits = true;
  setTimeout(sendMove, pause);
}

function sendMove() {
  const { motion, x, y } = cameraMove;
  Object.assign(cameraMove, { x: 0, y: 0, waits: false });
  if (motion === '' || (x === 0 && y === 0)) return;
  cameraMove.sent = performance.now();
  post(`/camera?motion=${motion}&x=${x.toFixed(5)}&y=${y.toFixed(5)}`);
}

function sendRegion(box) {
  if (box) post('/region?x0=' + box[0] + '&y0=' + box[1] + '&x1=' + box[2] + '&y1=' + box[3]);
}

// What moving by parts of the picture's width means.
function useTool(tool, dx, dy) {
  if (tool === 'orbit') moveCamera('orbit', -3 * dx, 3 * dy);
  if (tool === 'pan') moveCamera('pan', -dx, dy);
  if (tool === 'dolly') moveCamera('dolly', -2 * dy, 0);
}

const pointers = new Map(); // that are down

canvas.addEventListener('pointerdown', event => {
  canvas.setPointerCapture(event.pointerId);
  pointers.set(event.pointerId, { start: placeOf(event), last: placeOf(event) });
});

canvas.addEventListener('pointermove', event => {
  const place = placeOf(event), pointer = pointers.get(event.pointerId);
  if (!pointer || pointers.size === 1) lookAt(Math.floor(place.column), Math.floor(place.row));
  if (!pointer) return;
  const before = pointer.last;
  pointer.last = place;
  if (pointers.size === 2) return pinch(pointer, before);
  if (view.tool === 'view') return pan(place.x - before.x, place.y - before.y);
  if (view.tool === 'region') {
    view.box = boxOf(pointer.start, place);
    return drawSoon();
  }
  const width = view.zoom * size.width;
  useTool(view.tool, (place.x - before.x) / width, (place.y - before.y) / width);
});

for (const name of ['pointerup', 'pointercancel']) {
  canvas.addEventListener(name, event => {
    pointers.delete(event.pointerId);
    if (view.box && name === 'pointerup') sendRegion(view.box);
    view.box = null;
    drawSoon();
  });
}

canvas.addEventListener('wheel', event => {
  event.preventDefault();
  const place = placeOf(event), notches = -event.deltaY / (event.deltaMode ? 3 : 100);
  if (view.tool === 'dolly') moveCamera('dolly', 0.1 * clamp(notches, -3, 3), 0);
  else zoomAt(1.2 ** clamp(notches, -3, 3), place.x, place.y);
}, { passive: false });

function pan(x, y) {
  view.x += x;
  view.y += y;
  view.fits = false;
  drawSoon();
}

// Two fingers: the distance between them zooms.
function pinch(moved, before) {
  const other = [...pointers.values()].find(pointer => pointer !== moved).last;
  const was = Math.hypot(before.x - other.x, before.y - other.y);
  const is = Math.hypot(moved.last.x - other.x, moved.last.y - other.y);
  if (was > 0) zoomAt(is / was, other.x, other.y);
}

const arrows = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
const toolKeys = { v: 'view', o: 'orbit', p: 'pan', d: 'dolly', r: 'region' };

canvas.addEventListener('keydown', event => {
  const arrow = arrows[event.key];
  if (!arrow || event.ctrlKey || event.altKey || event.metaKey) return;
  event.preventDefault();
  const [x, y] = arrow;
  if (view.tool === 'view' || view.tool === 'region') return pan(-60 * x, -60 * y);
  useTool(view.tool, 0.05 * x, 0.05 * y);
});

function chooseTool(tool) {
  const box = document.querySelector(`#tools input[value=${tool}]`);
  box.checked = true;
  view.tool = tool;
}

function zoomOrDolly(direction) {
  if (view.tool === 'dolly') return moveCamera('dolly', 0.1 * direction, 0);
  zoomAt(1.25 ** direction);
}

const keys = {
  '+': () => zoomOrDolly(1),
  '=': () => zoomOrDolly(1),
  '-': () => zoomOrDolly(-1),
  0: fit,
  1: zoomExactly,
  '[': () => changeExposure(-0.5),
  ']': () => changeExposure(0.5),
  a: nextImage,
  s: () => live.isRender && toggleStop(),
  w: () => live.isRender && post('/write'),
  Home: () => live.isRender && backToScene(),
  Enter: () => live.isRender && view.tool === 'region' &&
    sendRegion(boxOf({ column: -view.x / view.zoom, row: -view.y / view.zoom },
      { column: (canvas.width - view.x) / view.zoom, row: (canvas.height - view.y) / view.zoom })),
};

document.addEventListener('keydown', event => {
  if (event.ctrlKey || event.altKey || event.metaKey) return;
  if (event.target.closest('input, select, button, a, summary, pre')) return;
  if (toolKeys[event.key] && live.isRender) return chooseTool(toolKeys[event.key]);
  if (!Object.hasOwn(keys, event.key)) return;
  event.preventDefault();
  keys[event.key]();
});
