// The camera's JSON API as the page calls it, and the one error shape it answers with.

// A server listening beyond this machine hands out its token in the page's address.
const token = new URLSearchParams(location.search).get('token');

export class ApiError extends Error {
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

async function call(method, path, body) {
  const headers = {};
  if (token) headers.Authorization = `Bearer ${token}`;
  const init = { method, headers };
  if (method !== 'GET') {
    headers['Content-Type'] = 'application/json';
    init.body = JSON.stringify(body ?? {});
  }
  const response = await fetch(`/api${path}`, init);
  const answer = await response.json().catch(() => ({}));
  if (!response.ok) throw new ApiError(response.status, answer.error ?? `HTTP ${response.status}`);
  return answer;
}

export const get = (path) => call('GET', path);
export const put = (path, body) => call('PUT', path, body);
export const post = (path, body) => call('POST', path, body);
export const remove = (path) => call('DELETE', path);
