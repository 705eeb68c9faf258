// The image settings page as a person uses it: every control of every bundled camera, changes and what they sent, schemes over time, a factory reset.
import { expect, test } from './camera.js';

const ROLE_OF_KIND = { slider: 'slider', choice: 'combobox', switch: 'switch', button: 'button', readout: 'textbox' };

// A control's list item in the open tab, by its key's label ("KEY_BRIGHTNESS (34)").
const controlItem = (page, key) => page.getByRole('tabpanel').getByRole('listitem').filter({ hasText: key });
const schemesRegion = (page) => page.getByRole('region', { name: 'Schemes' });
const clockRegion = (page) => page.getByRole('region', { name: 'Simulated clock' });

for (const profile of ['bullet', 'dome', 'thermal-dual']) {
  test(`${profile}: every tab and control of every channel, as controls --json lists them`, async ({ page, camera }, info) => {
    const { url, channels } = await camera(profile);
    await page.goto(url);
    await expect(page.getByRole('status')).toHaveText('Ready');
    for (const [index, description] of channels.entries()) {
      await page.getByLabel('Channel', { exact: true }).selectOption(`Channel ${index + 1}`);
      await expect(page.getByRole('tab')).toHaveCount(description.tabs.length);
      for (const tab of description.tabs) {
        await page.getByRole('tab', { name: tab.name, exact: true }).click();
        const panel = page.getByRole('tabpanel');
        await expect(panel.getByRole('listitem')).toHaveCount(tab.controls.length);
        for (const [kind, role] of Object.entries(ROLE_OF_KIND)) {
          const count = tab.controls.filter((c) => c.kind === kind).length;
          await expect(panel.getByRole(role), `${tab.name}: ${kind}`).toHaveCount(count);
        }
        for (const control of tab.controls) {
          const item = panel.getByRole('listitem').filter({ has: page.getByText(`${control.keyName} (${control.key})`, { exact: true }) });
          await expect(item.getByLabel(control.name, { exact: true })).toBeVisible();
          if (control.kind === 'slider') await expect(item.getByText(`default ${control.default}`)).toBeVisible();
        }
      }
    }
    await page.getByRole('tab', { name: 'Image' }).click();
    await page.screenshot({ path: info.outputPath(`page-${profile}.png`), fullPage: true });
  });
}

test('a slider, another client, a typed value out of range, and one control by keyboard alone', async ({ page, camera, request }) => {
  const { url } = await camera('bullet');
  await page.goto(url);
  await expect(page.getByRole('status')).toHaveText('Ready');

  // Keyboard only: the channel, the tab strip, arrow to Image, into its first control, one step up.
  await page.keyboard.press('Tab');
  await expect(page.getByLabel('Channel', { exact: true })).toBeFocused();
  await page.keyboard.press('Tab');
  await expect(page.getByRole('tab', { name: 'Schemes' })).toBeFocused();
  await page.keyboard.press('ArrowRight');
  await expect(page.getByRole('tab', { name: 'Image' })).toHaveAttribute('aria-selected', 'true');
  await page.keyboard.press('Tab');
  const brightness = page.getByRole('tabpanel').getByLabel('Brightness', { exact: true });
  await expect(brightness).toBeFocused();
  await page.keyboard.press('ArrowRight');
  await expect(controlItem(page, 'KEY_BRIGHTNESS (34)')).toContainText('library KEY_BRIGHTNESS set 51 → 0');

  // A slider moved: the library call beside it and in the running trace.
  await page.getByLabel('Saturation', { exact: true }).fill('70');
  await expect(controlItem(page, 'KEY_SATURATION (2337)')).toContainText('library KEY_SATURATION set 70 → 0');
  await expect(page.getByRole('log')).toContainText('library KEY_SATURATION set 70 → 0');

  // Out of range: refused with the reason, nothing sent, the field back at the value in force.
  const contrast = page.getByLabel('Contrast value');
  await contrast.fill('150');
  await contrast.press('Enter');
  await expect(page.getByRole('status')).toHaveText(/Contrast: KEY_CONTRAST \(Contrast\) takes 0 to 100, not 150/);
  await expect(controlItem(page, 'KEY_CONTRAST (2353)')).toContainText('nothing sent');
  await page.getByLabel('Saturation', { exact: true }).focus();
  await expect(contrast).toHaveValue('50');

  // Another client's change shows up without a reload.
  const answer = await request.put(`${url}api/channels/1/params/KEY_SHARPNESS`, { data: { value: 77 } });
  expect(answer.status()).toBe(200);
  await expect(page.getByLabel('Sharpness', { exact: true })).toHaveValue('77');
});

test('periods saved and the clock moved across them switch the scheme shown', async ({ page, camera }) => {
  const { url } = await camera('bullet');
  await page.goto(url);
  await expect(page.getByRole('status')).toHaveText('Ready');

  await page.getByRole('tabpanel').getByLabel('Scheme switching').selectOption({ label: 'By time of day' });
  // The module keeps the scheme mode to itself: nothing reaches the library.
  await expect(controlItem(page, 'KEY_SCHEME_MODE (8000)')).toContainText('nothing sent');
  await schemesRegion(page).getByRole('button', { name: 'Save', exact: true }).click();
  await expect(page.getByRole('status')).toHaveText('Save: done');

  for (const [scheme, period] of [
    [0, '00:00-08:00'],
    [1, '08:00-12:00'],
    [2, '12:00-18:00'],
  ]) {
    await page.getByLabel(`Scheme ${scheme} period`).fill(period);
    await page.getByRole('button', { name: `Save period of scheme ${scheme}` }).click();
    await expect(page.getByRole('status')).toHaveText(`Period of scheme ${scheme}: done`);
  }
  await page.getByLabel('Scheme 3 period').fill('20:00-19:00');
  await page.getByRole('button', { name: 'Save period of scheme 3' }).click();
  await expect(page.getByRole('status')).toContainText('507: period start is not before its end; nothing saved');

  // Passes one by one across eight o'clock.
  await page.getByLabel('Time of day').fill('07:59:00');
  await page.getByRole('button', { name: 'Set time' }).click();
  await expect(page.getByRole('status')).toHaveText('Clock: done');
  await page.getByLabel('Passes').fill('120');
  await page.getByRole('button', { name: 'Run passes' }).click();
  await expect(page.getByRole('status')).toHaveText('Passes: done');
  await expect(schemesRegion(page)).toContainText('Scheme in force: 1');
  await expect(clockRegion(page)).toContainText('08:01:00');

  // The clock running by itself across noon: the page follows on its own.
  await page.getByLabel('Time of day').fill('11:59:50');
  await page.getByRole('button', { name: 'Set time' }).click();
  await clockRegion(page).getByLabel('Speed').selectOption('600×');
  await expect(schemesRegion(page)).toContainText('Scheme in force: 2');
  await clockRegion(page).getByLabel('Speed').selectOption('stopped');

  await clockRegion(page).getByLabel('Night').check();
  await expect(page.getByRole('status')).toHaveText('Night: done');
});

test('a saved change is in the decoded file, and a factory reset brings the defaults back', async ({ page, camera }) => {
  const { url } = await camera('dome');
  await page.goto(url);
  await expect(page.getByRole('status')).toHaveText('Ready');
  await page.getByRole('tab', { name: 'Image' }).click();
  const brightness = page.getByLabel('Brightness', { exact: true });
  await brightness.fill('80');
  await expect(page.getByRole('status')).toHaveText('Brightness set to 80');
  await page.getByRole('button', { name: 'Save', exact: true }).click();
  await expect(page.getByRole('status')).toHaveText('Save: done');

  await page.getByRole('button', { name: 'Show file' }).click();
  await expect(page.getByRole('row', { name: '34 KEY_BRIGHTNESS 80' })).toBeVisible();

  await page.getByLabel('Debug level').selectOption('7');
  await expect(page.getByRole('status')).toHaveText('Debug level: done');

  page.once('dialog', (dialog) => dialog.accept());
  await page.getByRole('button', { name: 'Factory reset' }).click();
  await expect(page.getByRole('status')).toHaveText('Factory reset: done');
  await page.getByRole('tab', { name: 'Image' }).click();
  await expect(page.getByLabel('Brightness', { exact: true })).toHaveValue('50');
  await expect(controlItem(page, 'KEY_BRIGHTNESS (34)')).toContainText('default 50');
});
