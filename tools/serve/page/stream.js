// The server's stream: status and tiles, one message after the other; it is opened again when it
// ends.
const stream = { abort: null, opened: '', lost: false };

async function openStream(images) {
  if (stream.abort) stream.abort.abort();
  const abort = stream.abort = new AbortController();
  stream.opened = images;
  while (!abort.signal.aborted) {
    try {
      const reply = await fetch('/stream?images=' + images, { signal: abort.signal });
      if (reply.status === 401 || reply.status === 403) {
        return alarm('This page is not known to the server any more: open the address that ' +
          'moonhare serve has printed.');
      }
      if (!reply.ok) throw new Error(await reply.text());
      alarm('');
      await readMessages(reply.body.getReader());
    } catch (fault) {
      if (abort.signal.aborted) return;
    }
    if (abort.signal.aborted) return;
    alarm('The connection to the render is lost. The picture is the last one that came; ' +
      'trying again every second.');
    await new Promise(done => setTimeout(done, 1000));
  }
}

async function readMessages(reader) {
  let rest = new Uint8Array(0);
  for (;;) {
    const { done, value } = await reader.read();
    if (done) return;
    rest = joined(rest, value);
    rest = rest.subarray(takeMessages(rest));
  }
}

function joined(a, b) {
  if (a.length === 0) return b;
  const both = new Uint8Array(a.length + b.length);
  both.set(a);
  both.set(b, a.length);
  return both;
}

// Bytes that were used.
function takeMessages(bytes) {
  const numbers = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  let at = 0;
  while (bytes.length - at >= 8) {
    const kind = numbers.getUint32(at, true), length = numbers.getUint32(at + 4, true);
    if (bytes.length - at - 8 < length) break;
    const content = bytes.slice(at + 8, at + 8 + length);
    if (kind === 1) takeStatus(JSON.parse(new TextDecoder().decode(content)));
    if (kind === 2) takeTile(content);
    at += 8 + length;
  }
  return at;
}

function takeTile(content) {
  const [image, , scale, x, y, width, height, frames] = new Uint32Array(content.buffer, 0, 8);
  const picture = pictureOf(image);
  picture.setTile(x, y, width, height, scale, new Uint16Array(content.buffer, 32));
  picture.frames = frames;
  drawSoon();
}

function alarm(text) {
  const line = document.getElementById('alarm');
  line.textContent = text;
  line.hidden = text === '';
}

// A request that changes something.
function post(path) {
  return fetch(path, { method: 'POST' }).catch(() => {});
}
