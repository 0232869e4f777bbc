// Pictures of a folder in place of a render's images. Each keeps its number while the server runs.
const folder = { scene: '', loading: new Map() };

function startFolder(status) {
  folder.scene = status.scene;
  part('scene').textContent = status.scene;
  part('stage').textContent = `${status.pictures.length} pictures`;
  document.title = status.scene;
  listImages(status.pictures);
  status.pictures.forEach((name, i) => addThumbnail(i));
  if (status.pictures.length) showImages();
  setInterval(lookForPictures, 2000);
}

async function lookForPictures() {
  const status = await fetch('/status').then(reply => reply.json()).catch(() => null);
  alarm(status ? '' : 'The server does not answer; the pictures are those that came before.');
  if (!status || status.pictures.length === live.names.length) return;
  part('stage').textContent = `${status.pictures.length} pictures`;
  listImages(status.pictures);
  status.pictures.forEach((name, i) => addThumbnail(i));
}

async function fetchHalves(path) {
  const reply = await fetch(path);
  if (!reply.ok) throw new Error(await reply.text());
  const content = await reply.arrayBuffer();
  const [width, height] = new Uint32Array(content, 0, 2);
  return { width, height, halves: new Uint16Array(content, 8) };
}

async function addThumbnail(i) {
  const { width, height, halves } = await fetchHalves('/thumbnail?image=' + i).catch(() => ({}));
  if (!width) return;
  const small = new Picture(width, height);
  small.setTile(0, 0, width, height, 1, halves);
  small.canvas.setAttribute('aria-hidden', 'true');
  document.querySelector(`#images input[value="${i}"]`)?.after(small.canvas);
}

// The first picture decides the size; one of another size is not compared with it.
async function readPicture(i) {
  const loaded = await fetchHalves('/picture?image=' + i).catch(fault => {
    alarm(fault.message);
    return null;
  });
  if (!loaded) return;
  if (i === view.shown && setSize(loaded.width, loaded.height)) resize();
  const picture = new Picture(loaded.width, loaded.height);
  picture.setTile(0, 0, loaded.width, loaded.height, 1, loaded.halves);
  picture.frames = 1;
  pictures.set(i, picture);
}

// A picture that is on its way is waited for.
function loadPicture(i) {
  if (!folder.loading.has(i)) {
    folder.loading.set(i, readPicture(i).finally(() => folder.loading.delete(i)));
  }
  return folder.loading.get(i);
}

async function loadFolderImages(images) {
  for (const i of images.split(',').map(Number)) await loadPicture(i);
  drawSoon();
  drawHistogram();
  showDifference();
}

function folderPixel(x, y) {
  const values = {};
  for (const [i, picture] of pictures) {
    if (x >= picture.width || y >= picture.height) continue;
    const at = 3 * (y * picture.width + x);
    values[live.names[i]] = Array.from(picture.halves.subarray(at, at + 3), half => floats[half]);
  }
  return values;
}
