// Uploads a file with a client of tus 1.0 in every way it has: in one request, in parts, broken off and resumed, ended.
//
//   node upload.js ADDRESS SESSION FILE      prints the path of each upload that should be whole
const fs = require('fs');
const tus = require('tus-js-client');

const [address, session, file] = process.argv.slice(2);
const headers = { Authorization: `Bearer ${session}` };

// The finished upload; one that was broken off when `stopAt` bytes had gone.
function upload(options, stopAt = Infinity) {
  return new Promise((resolve, reject) => {
    const one = new tus.Upload(fs.createReadStream(file), {
      endpoint: `${address}/platform/v1/files`,
      uploadSize: fs.statSync(file).size,
      headers,
      retryDelays: [0, 200, 1000],
      metadata: { filename: 'gate.mp4', filetype: 'video/mp4' },
      onError: reject,
      onSuccess: () => resolve(one),
      onProgress: (sent) => {
        if (sent < stopAt) return;
        stopAt = Infinity;
        one.abort().then(() => resolve(one), reject);
      },
      ...options,
    });
    one.start();
  });
}

async function main() {
  const chunkSize = 500000;
  const whole = [await upload({}), await upload({ chunkSize })];
  const broken = await upload({ chunkSize }, 1000000);
  whole.push(await upload({ chunkSize, uploadUrl: broken.url }));
  const ended = await upload({ chunkSize }, 1000000);
  await tus.Upload.terminate(ended.url, { headers });
  for (const one of whole) console.log(new URL(one.url).pathname);
}

main().catch((error) => {
  console.error(error.message);
  process.exit(1);
});
