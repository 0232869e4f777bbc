// Ties the controls to what they do, and begins.
function on(id, event, act) {
  part(id).addEventListener(event, act);
}

for (const box of document.querySelectorAll('#tools input')) {
  box.addEventListener('change', () => chooseTool(box.value));
}
for (const id of ['exposure', 'white', 'curve']) on(id, 'input', changeTone);
on('neutral', 'click', () => {
  part('exposure').value = 0;
  part('white').value = 6500;
  part('curve').value = 'none';
  changeTone();
});
on('closer', 'click', () => zoomAt(1.25));
on('farther', 'click', () => zoomAt(0.8));
on('fit', 'click', fit);
on('exact', 'click', zoomExactly);
on('stop', 'click', toggleStop);
on('write', 'click', () => post('/write'));
on('keep', 'click', keepPicture);
on('other', 'change', () => {
  compare.other = part('other').value;
  showImages();
  showDifference();
});
on('wipe', 'input', () => {
  compare.wipe = Number(part('wipe').value);
  part('wipe-text').textContent = compare.wipe + ' %';
  drawSoon();
});
for (const id of ['px', 'py']) {
  on(id, 'input', () => lookAt(Number(part('px').value), Number(part('py').value)));
}
on('save-png', 'click', savePng);
on('save-exr', 'click', () => save(`/save?image=${view.shown}&format=exr`, nameOfShown() + '.exr'));
on('save-hdr', 'click', () => save(`/save?image=${view.shown}&format=hdr`, nameOfShown() + '.hdr'));
on('whole', 'click', () => post('/region'));
on('reset', 'click', () => post('/camera?motion=reset'));
on('copy', 'click', () => navigator.clipboard.writeText(part('camera').textContent));

new ResizeObserver(resize).observe(canvas);
setInterval(drawHistogram, 1000);
setInterval(showDifference, 1000);

// The token is in a cookie from here on; the address may be seen.
history.replaceState(null, '', '/');

async function start() {
  resize();
  const status = await fetch('/status').then(reply => reply.json());
  live.isRender = status.pictures === undefined;
  for (const item of document.querySelectorAll('.live')) item.hidden ||= !live.isRender;
  if (live.isRender) {
    takeStatus(status);
    showImages();
  } else {
    startFolder(status);
  }
}
start();
