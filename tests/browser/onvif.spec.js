// sensorctl serve's ONVIF services as two npm ONVIF clients see them, checked against the JSON API and its trace.
import onvif from 'onvif';
import nodeOnvif from 'node-onvif';
import { expect, test } from './camera.js';

const USER = '--onvif-user=admin:secret';

// A client method as a promise; a refusal keeps the reply's XML, where the fault codes are.
const ask = (cam, method, ...args) =>
  new Promise((resolve, reject) =>
    cam[method](...args, (err, data, xml) => (err ? reject(Object.assign(err, { xml })) : resolve(data))));

async function connect(url, password = 'secret') {
  const { hostname, port } = new URL(url);
  const cam = new onvif.Cam({ hostname, port: Number(port), username: 'admin', password, autoconnect: false });
  await ask(cam, 'connect');
  return cam;
}

const api = async (url, path) => (await fetch(`${url}api${path}`)).json();
const cursor = async (url) => (await api(url, '/channels/1/state')).cursor;
const changesSince = async (url, from) => (await api(url, `/trace?since=${from}&channel=1&changes=1`)).entries;
const refused = { xml: expect.stringContaining('ter:NotAuthorized') };

for (const profile of ['thermal-dual', 'dome']) {
  test(`${profile}: each channel's settings and options are its controls' values and ranges`, async ({ camera }) => {
    const { url, channels } = await camera(profile, USER);
    const cam = await connect(url);
    expect(cam.videoSources).toHaveLength(channels.length);
    for (const [index, description] of channels.entries()) {
      const token = `VideoSource_${index + 1}`;
      const controls = Object.fromEntries(description.tabs.flatMap((t) => t.controls).map((c) => [c.key, c]));
      const settings = await ask(cam, 'getImagingSettings', { token });
      const options = await ask(cam, 'getVideoSourceOptions', { token });
      expect(settings.brightness, token).toBe(controls[34].value);
      expect(options.brightness, token).toEqual({ min: controls[34].min, max: controls[34].max });
      expect(options.irCutFilterModes, token).toEqual(controls[144] ? ['AUTO', 'ON', 'OFF'] : undefined);
    }
  });
}

test('brightness and the IR cut filter become library commands, shown by the trace', async ({ camera }) => {
  const { url } = await camera('bullet', USER);
  const cam = await connect(url);
  // IR cut filter OFF is the night mode: KEY_DN_MODE 2.
  for (const [change, cmd, values] of [[{ brightness: 70 }, 34, [70]], [{ irCutFilter: 'OFF' }, 144, [2]]]) {
    const from = await cursor(url);
    await ask(cam, 'setImagingSettings', { token: 'VideoSource_1', ...change });
    expect(await changesSince(url, from)).toContainEqual(expect.objectContaining({ kind: 'ia', cmd, option: 'set', values }));
  }
  expect(await ask(cam, 'getImagingSettings')).toMatchObject({ brightness: 70, irCutFilter: 'OFF' });
});

test('a wrong password and a replayed request are refused and change nothing', async ({ camera }) => {
  const { url } = await camera('bullet', USER);
  const cam = await connect(url);
  let sent = '';
  cam.once('rawRequest', (body) => (sent = body));
  await ask(cam, 'setImagingSettings', { token: 'VideoSource_1', brightness: 60 });
  const from = await cursor(url);

  const intruder = await connect(url, 'guess');
  await expect(ask(intruder, 'getDeviceInformation')).rejects.toMatchObject(refused);
  await expect(ask(intruder, 'setImagingSettings', { token: 'VideoSource_1', brightness: 90 })).rejects.toMatchObject(refused);
  const replay = await fetch(`${url}onvif/imaging_service`, { method: 'POST', body: sent });
  expect(replay.status).toBe(400);
  expect(await replay.text()).toContain('ter:NotAuthorized');

  expect(await changesSince(url, from)).toEqual([]);
  expect(await ask(cam, 'getImagingSettings')).toMatchObject({ brightness: 60 });
});

test('the presets are the schemes, and setting one switches the scheme in force', async ({ camera }) => {
  const { url } = await camera('thermal-dual', USER);
  const cam = await connect(url);
  // The client has no imaging GetPresets of its own: its request machinery sends one.
  const body = '<GetPresets xmlns="http://www.onvif.org/ver20/imaging/wsdl"><VideoSourceToken>VideoSource_1</VideoSourceToken></GetPresets>';
  const [reply] = await ask(cam, '_request', { service: 'imaging', body: cam._envelopeHeader() + body + cam._envelopeFooter() });
  const { schemes } = await api(url, '/channels/1/scheme');
  const tokens = reply.getPresetsResponse[0].preset.map((p) => p.$.token);
  expect(tokens).toEqual(Array.from({ length: schemes }, (_, i) => `Scheme_${i}`));

  await ask(cam, 'setCurrentImagingPreset', { token: 'VideoSource_1', presetToken: 'Scheme_2' });
  expect(await api(url, '/channels/1/scheme')).toMatchObject({ scheme: 2 });
  expect(await ask(cam, 'getCurrentImagingPreset')).toMatchObject({ $: { token: 'Scheme_2' } });
});

test('node-onvif connects and reads the device and each channel\'s main stream', async ({ camera }) => {
  const { url } = await camera('thermal-dual', USER);
  const device = new nodeOnvif.OnvifDevice({ xaddr: `${url}onvif/device_service`, user: 'admin', pass: 'secret' });
  const info = await device.init();
  const { manufacturer, model } = await api(url, '/camera');
  expect(info).toMatchObject({ Manufacturer: manufacturer, Model: model });
  // The profile's stream as the camera's sim.ini and module configuration give it.
  expect(device.getProfileList().map((p) => p.video.encoder)).toMatchObject([
    { resolution: { width: 1920, height: 1080 }, framerate: 25, encoding: 'H264' },
    { resolution: { width: 384, height: 288 }, framerate: 25, encoding: 'H264' },
  ]);
});
