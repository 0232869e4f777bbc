// A second picture beside the one that is shown: another image, or one that was kept.
const compare = { other: '', wipe: 50, kept: null };

function otherPicture() {
  if (compare.other === '') return null;
  return compare.other === 'kept' ? compare.kept : pictureOf(Number(compare.other));
}

function keepPicture() {
  compare.kept = pictureOf(view.shown).copy();
  listOthers();
  document.getElementById('other').value = compare.other = 'kept';
  showImages();
}

function listOthers() {
  const list = document.getElementById('other'), chosen = compare.other;
  list.replaceChildren(new Option('nothing', ''));
  if (compare.kept) list.add(new Option(`kept picture, ${compare.kept.frames} frames`, 'kept'));
  live.names.forEach((name, i) => list.add(new Option(name, String(i))));
  list.value = chosen;
  if (list.value !== chosen) list.value = compare.other = '';
}

// Of what both pictures show, in halves as they are held: of displayed bytes nothing could be said.
function showDifference() {
  const line = document.getElementById('difference'), other = otherPicture();
  if (!other || !other.frames || !pictureOf(view.shown).frames) { // not there yet
    line.textContent = '';
    return;
  }
  const a = pictureOf(view.shown).halves, b = other.halves;
  if (a.length !== b.length) {
    line.textContent = 'The pictures differ in size.';
    return;
  }
  let squares = 0, largest = 0;
  for (let i = 0; i < a.length; ++i) {
    const difference = floats[a[i]] - floats[b[i]];
    squares += difference * difference;
    largest = Math.max(largest, Math.abs(difference));
  }
  line.textContent = `rmse ${shortNumber(Math.sqrt(squares / a.length))}, ` +
    `largest difference ${shortNumber(largest)}`;
}
