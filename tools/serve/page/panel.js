// The controls beside the picture, and what they say.
const live = { status: null, isRender: true, names: [], pixel: null };
const part = id => document.getElementById(id);

function shortNumber(value) {
  if (value === null || !Number.isFinite(value)) return 'not finite';
  return Math.abs(value) >= 1e5 || (value !== 0 && Math.abs(value) < 1e-4)
    ? value.toExponential(3) : String(Number(value.toPrecision(5)));
}

function durationText(seconds) {
  if (!Number.isFinite(seconds)) return '-';
  if (seconds < 60) return seconds.toFixed(1) + ' s';
  if (seconds < 3600) return (seconds / 60).toFixed(1) + ' min';
  return (seconds / 3600).toFixed(2) + ' h';
}

function takeStatus(status) {
  live.status = status;
  if (setSize(status.width, status.height)) resize();
  if (live.names.join('\n') !== status.images.join('\n')) listImages(status.images);
  showNumbers(status);
  part('region').textContent = coversAll(status.region) ? 'whole picture'
    : `columns ${status.region[0]} to ${status.region[2] - 1}, ` +
      `rows ${status.region[1]} to ${status.region[3] - 1}`;
  if (part('camera').textContent !== status.camera) part('camera').textContent = status.camera;
  part('message').textContent = status.message;
  showFaults(status);
  drawSoon();
}

function showNumbers(status) {
  const stage = status.scale > 1 && status.stage === 'rendering'
    ? `rendering, 1/${status.scale} size` : status.stage;
  if (part('stage').textContent !== stage) part('stage').textContent = stage;
  part('scene').textContent = status.scene;
  document.title = `${status.frames}/${status.frames_expected} ${status.scene}`;
  part('progress').value = status.scale > 1 ? 0
    : status.frames / Math.max(status.frames_expected, 1);
  part('frames').textContent = `${status.frames} of ${status.frames_expected}`;
  part('left').textContent = status.frames ? durationText(status.remaining_s) : '-';
  part('rays').textContent = (status.rays_per_second * 1e-6).toFixed(2) + ' M/s';
  part('noise').textContent = status.noise > 0 ? (100 * status.noise).toPrecision(2) + ' %' : '-';
  part('memory').textContent = Math.round(status.memory_bytes / 1048576) + ' MB';
  const stop = part('stop');
  stop.textContent = status.stage === 'stopped' ? 'Go on' : 'Stop';
  stop.disabled = status.stage !== 'rendering' && status.stage !== 'stopped';
}

function showFaults(status) {
  const text = JSON.stringify(status.check) + status.keeps_last_good;
  if (showFaults.shown === text) return;
  showFaults.shown = text;
  const faults = status.check.faults.filter(fault => fault.severity !== 'note');
  part('faults-section').hidden = faults.length === 0;
  part('faults-note').textContent = status.keeps_last_good
    ? 'The scene has changed and cannot be read; the picture is of the last one that could.' : '';
  part('faults').replaceChildren(...faults.map(fault => {
    const item = document.createElement('li');
    const place = fault.line ? `${fault.file}:${fault.line}:${fault.column}` : fault.file;
    item.className = fault.severity;
    item.textContent = `${place}: ${fault.severity}: ${fault.message}` +
      (fault.suggestion ? `; did you mean "${fault.suggestion}"?` : '');
    return item;
  }));
}

function listImages(names) {
  live.names = names;
  if (view.shown >= names.length) view.shown = 0;
  part('images').replaceChildren(...names.map((name, i) => {
    const label = document.createElement('label'), box = document.createElement('input');
    box.type = 'radio';
    box.name = 'image';
    box.value = i;
    box.checked = i === view.shown;
    box.addEventListener('change', () => chooseImage(i));
    label.append(box, name);
    return label;
  }));
  listOthers();
}

function chooseImage(i) {
  view.shown = i;
  const box = document.querySelector(`#images input[value="${i}"]`);
  if (box) box.checked = true;
  showImages();
}

function nextImage() {
  if (live.names.length) chooseImage((view.shown + 1) % live.names.length);
}

// The images that the page needs now.
function showImages() {
  const other = compare.other === '' || compare.other === 'kept' ? null : Number(compare.other);
  const images = other === null || other === view.shown ? String(view.shown)
    : `${view.shown},${other}`;
  loadImages(images);
  drawSoon();
}

function loadImages(images) {
  if (!live.isRender) return loadFolderImages(images);
  if (images !== stream.opened) openStream(images);
}

// The pixel under the pointer, or that of the fields; asked for ten times a second at most.
const look = { waits: false, x: 0, y: 0 };

function lookAt(x, y) {
  if (x < 0 || y < 0 || x >= size.width || y >= size.height) return;
  look.x = x;
  look.y = y;
  if (document.activeElement !== part('px') && document.activeElement !== part('py')) {
    part('px').value = x;
    part('py').value = y;
  }
  if (look.waits) return;
  look.waits = true;
  setTimeout(askForPixel, 100);
}

async function askForPixel() {
  look.waits = false;
  const { x, y } = look;
  const values = live.isRender
    ? await fetch(`/pixel?x=${x}&y=${y}`).then(reply => reply.json()).catch(() => ({}))
    : folderPixel(x, y);
  part('under').textContent = `x ${x}, y ${y}: ` +
    (values[live.names[view.shown]] || []).map(shortNumber).join('  ');
  part('values').tBodies[0].replaceChildren(...Object.entries(values).map(([name, channels]) => {
    const row = document.createElement('tr'), head = document.createElement('th');
    head.scope = 'row';
    head.textContent = name;
    row.append(head, ...channels.map(value => {
      const cell = document.createElement('td');
      cell.textContent = shortNumber(value);
      return cell;
    }));
    return row;
  }));
}

// Pixels by brightness, in stops from 2^-12 to 2^8; black ones are left out.
function drawHistogram() {
  if (!size.width) return;
  const bins = new Float64Array(96), halves = pictureOf(view.shown).halves;
  let black = 0, sum = 0;
  const step = 3 * Math.max(Math.floor(halves.length / 600000), 1);
  for (let i = 0; i < halves.length; i += step) {
    const value = 0.2126 * floats[halves[i]] + 0.7152 * floats[halves[i + 1]] +
      0.0722 * floats[halves[i + 2]];
    if (!(value > 0)) {
      ++black;
      continue;
    }
    sum += value;
    ++bins[clamp(Math.floor((Math.log2(value) + 12) * 4.8), 0, 95)];
  }
  const chart = part('histogram'), ink = chart.getContext('2d');
  const highest = Math.max(...bins, 1), count = halves.length / step;
  ink.clearRect(0, 0, chart.width, chart.height);
  ink.fillStyle = '#8fc1ff';
  bins.forEach((n, i) => ink.fillRect(3 * i, chart.height * (1 - n / highest), 2.5, chart.height));
  ink.fillStyle = '#ffcf70'; // displayed white
  ink.fillRect(3 * clamp((12 - tone.exposure) * 4.8, 0, 95), 0, 1, chart.height);
  part('histogram-text').textContent = `stops from -12 to 8; mean ${shortNumber(sum / count)}, ` +
    `black ${(100 * black / count).toFixed(1)} %`;
}

function changeTone() {
  tone.exposure = Number(part('exposure').value);
  tone.white = Number(part('white').value);
  tone.curve = part('curve').value;
  part('exposure-text').textContent = `${tone.exposure} stops`;
  part('white-text').textContent = `${tone.white} K`;
  if (changeTone.waits) return;
  changeTone.waits = true;
  requestAnimationFrame(() => {
    changeTone.waits = false;
    updateTone();
    pictureOf(view.shown).paintAll();
    const other = otherPicture();
    if (other) other.paintAll();
    for (const [i, picture] of pictures) if (i !== view.shown) picture.paintAll();
    draw();
  });
}

function changeExposure(by) {
  part('exposure').value = Number(part('exposure').value) + by;
  changeTone();
}

function toggleStop() {
  if (live.status) post(live.status.stage === 'stopped' ? '/go' : '/stop');
}

function backToScene() {
  post('/camera?motion=reset');
  post('/region');
}

function save(url, name) {
  const link = document.createElement('a');
  link.href = url;
  link.download = name;
  link.click();
}

function nameOfShown() {
  return (live.names[view.shown] || 'picture').replace(/\.\w+$/, '').replace(/.*\//, '');
}

function savePng() {
  pictureOf(view.shown).canvas.toBlob(blob => {
    const url = URL.createObjectURL(blob);
    save(url, nameOfShown() + '.png');
    setTimeout(() => URL.revokeObjectURL(url), 10000);
  });
}
